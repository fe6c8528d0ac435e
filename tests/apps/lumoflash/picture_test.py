"""--picture and --report: files that other programs can read, whose numbers are those of the events."""
import hashlib
import html.parser
import json
import subprocess
import unittest
import xml.etree.ElementTree

from lumoflash import FLASH, SECTOR, Case, ccfg, ihex, pattern

SVG = "{http://www.w3.org/2000/svg}"


class Page(html.parser.HTMLParser):
    """The elements with data, the texts, and whether every element that was begun has ended."""
    EMPTY = {"meta", "br"}

    def __init__(self, text):
        super().__init__()
        self.open, self.data, self.texts = [], [], []
        self.feed(text)

    def handle_starttag(self, tag, attributes):
        if tag not in self.EMPTY:
            self.open.append(tag)
        if any(name.startswith("data-") for name, _ in attributes):
            self.data.append(dict(attributes))

    def handle_endtag(self, tag):
        assert self.open.pop() == tag, tag

    def handle_data(self, text):
        self.texts.append(text)


class Picture(Case):
    def sectors(self, name):
        root = xml.etree.ElementTree.parse(self.path / name).getroot()
        self.assertEqual(root.tag, SVG + "svg")
        groups = [group for group in root.iter(SVG + "g") if group.get("id", "").startswith("sector-")]
        return root, [group.find(SVG + "title").text for group in groups]

    def phases(self, events):
        return [(event["phase"], event["doneBytes"], event["seconds"]) for event in events
                if event["event"] == "phase" and event["state"] == "end"]

    def test_a_plan_is_drawn_sector_by_sector(self):
        size = SECTOR[self.device]
        self.run_chip("program", self.file("c.bin", ccfg(protect=b"\xdf" + b"\xff" * 7)), "--base", hex(FLASH[self.device] - 0x58), "--yes")
        self.run_chip("program", f"{self.file('a.bin', pattern(2 * size))}@0")
        data = self.file("b.hex", ihex(0, pattern(size) + pattern(size, 5) + pattern(2 * size)))
        before = self.chip.read_bytes()
        self.run_chip("program", data, "--dry-run", "--picture", "p.svg", "--skip-pages", "3")
        root, titles = self.sectors("p.svg")
        self.assertEqual(len(titles), FLASH[self.device] // size)
        for index, fate in enumerate(["already right", "erased and written (differs)", "erased and written (differs)", "skipped"]):
            self.assertEqual(titles[index], f"Sector {index}, 0x{index * size:08X} to 0x{(index + 1) * size - 1:08X}: {fate}")
        self.assertTrue(titles[5].endswith("untouched (not in the file), protected"), titles[5])
        self.assertIn("CCFG stays", "".join(root.itertext()))
        self.assertIn("b.hex", "".join(root.itertext()))
        self.assertEqual(self.chip.read_bytes(), before)
        subprocess.run(["rsvg-convert", "--output", self.path / "p.png", self.path / "p.svg"], check=True, timeout=60)
        self.assertEqual((self.path / "p.png").read_bytes()[:8], b"\x89PNG\r\n\x1a\n")

    def test_a_report_has_the_numbers_of_the_events(self):
        image = self.file("<a&b>\x1b.bin", pattern(3 * SECTOR[self.device]))
        events = self.events("program", f"{image}@0", "--report", "r.html", "--picture", "p.svg")
        text = (self.path / "r.html").read_text()
        page = Page(text)
        self.assertEqual(page.open, [])
        phases = [(each["data-phase"], int(each["data-bytes"]), float(each["data-seconds"])) for each in page.data if "data-phase" in each]
        self.assertEqual(phases, self.phases(events))
        verdict = next(each for each in page.data if each.get("id") == "verdict")
        result = events[-1]
        self.assertEqual((int(verdict["data-exit-code"]), int(verdict["data-bytes"]), float(verdict["data-seconds"])),
                         (0, result["bytes"], result["seconds"]))
        self.assertIn((self.path / "p.svg").read_text(), text)
        shown = "".join(page.texts)
        self.assertIn(hashlib.sha256(pattern(3 * SECTOR[self.device])).hexdigest(), shown)
        for lane in ("debug link", "flash controller", "core"):
            self.assertIn(lane, shown)
        self.assertNotIn("<script", text)

    def test_a_browser_shows_the_report(self):
        image = self.file("a.bin", pattern(3 * SECTOR[self.device]))
        events = self.events("program", f"{image}@0", "--report", "r.html")
        browser = subprocess.run(["chromium", "--headless", "--no-sandbox", "--disable-gpu", "--no-first-run",
                                  f"--user-data-dir={self.path / 'browser'}", "--dump-dom", (self.path / "r.html").as_uri()],
                                 capture_output=True, timeout=120, env={"HOME": str(self.path), "PATH": "/usr/bin:/bin"})
        page = Page(browser.stdout.decode())
        self.assertEqual([float(each["data-seconds"]) for each in page.data if "data-phase" in each],
                         [seconds for _, _, seconds in self.phases(events)])
        self.assertEqual(browser.stdout.decode().count('id="sector-'), FLASH[self.device] // SECTOR[self.device])

    def test_a_report_of_a_failure_says_what_went_wrong(self):
        image = self.file("a.bin", pattern(9000))
        events = self.events("--fault", "operation-fails@5", "program", f"{image}@0", "--report", "r.html", code=1)
        page = Page((self.path / "r.html").read_text())
        self.assertIn(events[-1]["text"], "".join(page.texts))
        self.assertEqual(next(each for each in page.data if each.get("id") == "verdict")["data-exit-code"], "1")

    def test_what_cannot_be_written_fails_before_anything_is_touched(self):
        program = ["program", f"{self.file('a.bin', pattern(9000))}@0"]
        self.new_chip()
        before = self.chip.read_bytes()
        self.assertIn("/nowhere/p.svg", self.run_chip(*program, "--picture", "/nowhere/p.svg", code=1)[1])
        self.assertEqual(self.chip.read_bytes(), before)
        self.assertIn("/nowhere/r.html", self.run_chip(*program, "--report", "/nowhere/r.html", code=1)[1])
        for option in ("--picture", "--report"):
            self.assertIn(f"{option} and FILE name the same file", self.run_chip(*program, option, "a.bin", code=2)[1])


if __name__ == "__main__":
    unittest.main()
