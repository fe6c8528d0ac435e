"""--picture and --report: files that other programs can read, whose numbers are those of the events."""
import hashlib
import html
import html.parser
import json
import subprocess
import unittest
import xml.etree.ElementTree
from pathlib import Path

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
        for index, fate in enumerate(["already right; before: right; after: all of it from the files",
                                      "erased and written (differs); before: differs; after: all of it from the files",
                                      "erased and written (differs); before: blank; after: all of it from the files",
                                      "skipped; before: blank; after: blank"]):
            self.assertEqual(titles[index], f"Sector {index}, 0x{index * size:08X} to 0x{(index + 1) * size - 1:08X}: {fate}")
        self.assertTrue(titles[5].endswith("untouched (not in the file); before: blank, protected; after: blank, protected"), titles[5])
        self.assertIn("CCFG stays", "".join(root.itertext()))
        self.assertIn("b.hex", "".join(root.itertext()))
        self.assertEqual(self.chip.read_bytes(), before)
        subprocess.run(["rsvg-convert", "--output", self.path / "p.png", self.path / "p.svg"], check=True, timeout=60)
        self.assertEqual((self.path / "p.png").read_bytes()[:8], b"\x89PNG\r\n\x1a\n")
        self.run_chip("program", data, "--picture", "q.svg", "--skip-pages", "3")
        self.assertEqual((self.path / "q.svg").read_text(), (self.path / "p.svg").read_text(), "the load is not what was planned")
        self.run_chip("program", data, "--dry-run", "--picture", "r.svg", "--protect", "7", "--write", "all")
        root, titles = self.sectors("r.svg")
        self.assertTrue(titles[0].endswith("(all is written); before: data; after: all of it from the files"), titles[0])
        self.assertTrue(titles[7].endswith("before: blank; after: blank, protected"), titles[7])
        self.assertIn("CCFG changed", "".join(root.itertext()))

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

    def hashes(self, name):
        texts = Page((self.path / name).read_text()).texts
        return {texts[i - 1]: text.removeprefix("SHA-256 ") for i, text in enumerate(texts) if text.startswith("SHA-256 ")}

    def test_a_report_names_what_took_part_by_its_hash(self):
        data = pattern(3 * SECTOR[self.device])
        out, _ = self.run_chip("program", "-", "--base", "0", "--format", "bin", "--report", "r.html", input=data)
        hashes = self.hashes("r.html")
        self.assertEqual(hashes.pop("standard input"), hashlib.sha256(data).hexdigest())
        self.assertEqual(sorted(Path(each).name for each in hashes), ["libflashdevice.so", "lumod-flashloader.elf"])
        for path, digest in hashes.items():
            self.assertEqual(digest, hashlib.sha256(Path(path).read_bytes()).hexdigest(), path)

    def test_a_browser_shows_the_report_in_wide_and_narrow_windows(self):
        image = self.file("a.bin", pattern(3 * SECTOR[self.device]))
        events = self.events("program", f"{image}@0", "--report", "r.html")
        report = html.escape((self.path / "r.html").read_text())
        # A page that shows the report twice and tells what hangs over in each.
        frames = "".join(f'<iframe width="{width}" height="900" srcdoc="{report}"></iframe>' for width in (1280, 800))
        watch = """onload = () => { for (const frame of document.querySelectorAll("iframe")) {
            const page = frame.contentDocument, row = document.body.appendChild(document.createElement("p"));
            const wide = [page.documentElement, ...page.querySelectorAll("section, h1, p")].filter(each => each.scrollWidth > each.clientWidth);
            row.dataset.width = page.documentElement.clientWidth;
            row.dataset.over = wide.map(each => each.textContent.slice(0, 20)).join();
            row.dataset.seconds = [...page.querySelectorAll(".phase")].map(each => each.dataset.seconds);
            row.dataset.sectors = page.querySelectorAll("g[id^=sector-]").length; } }"""
        self.file("watch.html", f"<!DOCTYPE html><meta charset=utf-8><body>{frames}<script>{watch}</script>")
        browser = subprocess.run(["chromium", "--headless", "--no-sandbox", "--disable-gpu", "--no-first-run",
                                  f"--user-data-dir={self.path / 'browser'}", "--dump-dom", (self.path / "watch.html").as_uri()],
                                 capture_output=True, timeout=120, env={"HOME": str(self.path), "PATH": "/usr/bin:/bin"})
        rows = [each for each in Page(browser.stdout.decode()).data if "data-over" in each]
        self.assertEqual([each["data-over"] for each in rows], ["", ""])
        self.assertTrue(1200 < int(rows[0]["data-width"]) <= 1280 and 700 < int(rows[1]["data-width"]) <= 800, rows)
        for each in rows:
            self.assertEqual([float(text) for text in each["data-seconds"].split(",")], [seconds for _, _, seconds in self.phases(events)])
            self.assertEqual(int(each["data-sectors"]), FLASH[self.device] // SECTOR[self.device])

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
