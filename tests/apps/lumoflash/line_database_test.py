"""`lumoflash line` with a database: addresses from a pool, a record of each chip, and the report over them."""
import csv
import html.parser
import json
import os
import shutil
import signal
import socket
import subprocess
import tempfile
import unittest
from pathlib import Path

from line_test import TWO_SLOTS, LineCase

FIRST, LAST = "02:00:00:00:00:00:10:00", "02:00:00:00:00:00:10:3F"
BLE_FIRST, BLE_LAST = "C2:00:00:00:10:00", "C2:00:00:00:10:3F"
BROWSER = shutil.which("chromium")


class Figures(html.parser.HTMLParser):
    """What stands in each element with an `id`, and the cells of each table with one."""

    def __init__(self, page):
        super().__init__()
        self.texts, self.tables, self.name, self.table = {}, {}, None, None
        self.feed(page)

    def handle_starttag(self, tag, attributes):
        name = dict(attributes).get("id")
        if tag == "table":
            self.table = self.tables.setdefault(name, [])
        elif tag == "tr" and self.table is not None:
            self.table.append([])
        elif tag in ("td", "th"):
            self.table[-1].append("")
        elif name:
            self.name = name

    def handle_endtag(self, tag):
        self.name = None
        if tag == "table":
            self.table = None

    def handle_data(self, data):
        if self.name:
            self.texts[self.name] = data
        elif self.table and self.table[-1]:
            self.table[-1][-1] += data.strip()


class DatabaseCase(LineCase):
    def setUp(self):
        super().setUp()
        self.run_raw("pool", "create", "sqlite:line.db", "--ieee", f"{FIRST}-{LAST}", "--ble", f"{BLE_FIRST}-{BLE_LAST}")

    def job(self, text="", **options):
        return super().job('database = "sqlite:line.db"\nassign = ["ieee", "ble"]\nstation = "bench"\noperator = "Kim"\n' + text, **options)

    def pool(self):
        self.run_raw("pool", "export", "sqlite:line.db", "--out", "pool.csv")
        with open(self.path / "pool.csv", newline="") as file:
            return list(csv.DictReader(file))

    def records(self):
        self.run_raw("pool", "export", "sqlite:line.db", "--records", "--out", "records.jsonl")
        return [json.loads(line) for line in (self.path / "records.jsonl").read_text().splitlines()]

    def assigned(self):
        rows = [row for row in self.pool() if row["state"] == "CONFIRMED"]
        self.assertEqual(len({(row["chip"], row["kind"]) for row in rows}), len(rows))
        return {(row["chip"], row["kind"]): row["address"] for row in rows}


class LineWithDatabase(DatabaseCase):
    def test_each_chip_gets_addresses_of_its_own_and_a_record(self):
        self.job("on-good = \"sh -c 'echo $0 $1 $2 >> labels' {ieee} {ble} {identity}\"")
        self.run_line()
        assigned = self.assigned()
        self.assertEqual(len(assigned), 8)
        labels = [line.split() for line in (self.path / "labels").read_text().splitlines()]
        self.assertEqual({(chip, ieee, ble) for ieee, ble, chip in labels},
                         {(chip, assigned[chip, "ieee"], assigned[chip, "ble"]) for chip, _ in assigned})
        records = self.records()
        self.assertEqual(len(records), 4)
        for record in records:
            self.assertEqual((record["station"], record["operator"], record["verdict"]), ("bench", "Kim", "good"), record)
            self.assertIn(record["slot"], ("left", "right"))
        self.run_line()
        self.assertEqual(self.assigned(), assigned, "the same chips get the same addresses")

    def test_a_program_that_is_killed_leaves_a_record_that_says_so(self):
        server = socket.create_server(("127.0.0.1", 0))
        self.addCleanup(server.close)
        self.job("bad-in-a-row = 1", count=1, slots=[("left", f"gdb:127.0.0.1:{server.getsockname()[1]},timeout=600")])
        line = self.start_line()
        connection, _ = server.accept()
        with connection:
            connection.recv(1)
            child = Path(f"/proc/{line.pid}/task/{line.pid}/children").read_text().split()[0]
            os.kill(int(child), signal.SIGKILL)
            line.communicate(timeout=120)
        record, = self.records()
        self.assertEqual((record["verdict"], record["cause"]), ("bad", "the program was ended by signal 9 (Killed) without a verdict"))
        self.assertEqual((record["slot"], record["station"]), ("left", "bench"))

    def test_a_label_that_fails_is_recorded_behind_the_good_chip(self):
        self.job('on-good = "false"', count=1, slots=TWO_SLOTS[:1])
        self.run_line(code=1)
        self.assertEqual([record["verdict"] for record in self.records()], ["good", "bad"])
        self.assertIn("its label was not made", self.records()[1]["cause"])
        self.assertEqual(self.records()[0]["chip"], self.records()[1]["chip"])

    def test_a_chip_with_another_chips_address_stops_its_slot(self):
        self.job(count=1, slots=TWO_SLOTS[:1])
        self.run_line()
        (chip, _), address = next(item for item in self.assigned().items() if item[0][1] == "ieee")
        self.chip = self.path / "copy.chip"
        self.run_chip("mac", "write", "ieee", address)
        self.job(count=5, slots=[("left", "virtual:copy.chip"), ("right", "virtual:fresh-{n}.chip")])
        lines, err = self.run_line(code=1)
        self.assertIn("4 chips good, 1 bad", err)
        stopped = [line for line in lines if line.startswith("left: STOPPED, ")]
        self.assertEqual(len(stopped), 1, lines)
        self.assertIn(f"address {address}, which is recorded for the chip {chip}", stopped[0])

    def test_a_line_that_loses_its_database_waits_and_goes_on(self):
        self.job('start = "command"\nbad-in-a-row = 1', count=3)
        line = self.start_line(stdin=subprocess.PIPE)
        line.stdin.write(b"start left\n")
        line.stdin.flush()
        self.assertIn(b"left: chip 1 good", line.stdout.readline())
        (self.path / "line.db").rename(self.path / "kept.db")
        self.file("line.db", "no database, but as long as the beginning of one: " + "x" * 100)
        line.stdin.write(b"start\n")
        line.stdin.flush()
        waiting = sorted(line.stdout.readline().decode() for _ in range(2))
        for slot, row in zip(("left", "right"), waiting):
            self.assertRegex(row, rf"^{slot}: chip [23] waits: .*sqlite:.*line.db: it is no SQLite database")
        (self.path / "kept.db").rename(self.path / "line.db")
        out, err = line.communicate(timeout=120)
        self.assertEqual((line.returncode, err), (0, b"3 chips good, 0 bad\n"))
        self.assertEqual(sorted(row.split(",")[0] for row in out.decode().splitlines()), sorted(row.split(" waits")[0] + " good" for row in waiting))
        self.assertEqual(len(self.assigned()), 6)
        self.assertEqual([record["verdict"] for record in self.records()], ["good"] * 3, "waiting is no record")

    def test_what_is_wrong_for_every_chip_is_told_before_the_first_one(self):
        self.job()
        job = (self.path / "job.toml").read_text()
        for before, after, text in (('sqlite:line.db', 'sqlite:none.db', "none.db: there is no such file; create a pool in it first"),
                                    (self.device, "LumoX", 'there is no part "LumoX"')):
            self.file("job.toml", job.replace(before, after))
            lines, err = self.run_line(code=2)
            self.assertEqual(lines, [])
            self.assertIn(text, err)

    def test_only_the_jobs_chips_are_programmed(self):
        mine, other = "02:00:00:00:00:00:00:01", "02:00:00:00:00:00:00:02"
        slots = [("left", f"virtual:a.chip,identity={mine}"), ("right", f"virtual:b.chip,identity={other}")]
        self.job(f'identities = ["{mine}"]\nbad-in-a-row = 1', count=2, slots=slots)
        lines, _ = self.run_line(code=1)
        bad, = (line for line in lines if "BAD" in line)
        self.assertIn(f"right: chip 2 BAD", bad)
        self.assertIn(f"This is the chip {other}, not {mine}", bad)
        self.assertEqual({chip for chip, _ in self.assigned()}, {mine})
        self.assertFalse((self.path / "b.chip").exists())


class LineReport(DatabaseCase):
    def setUp(self):
        super().setUp()
        (self.path / "chips").mkdir()
        self.file("chips/2.chip", "no chip")
        super().job()
        self.run_line(code=1)
        _, err = self.run_raw("line", "report", "sqlite:line.db", "--out", "report.html")
        self.assertEqual(err, "3 of 4 runs good; the report is in report.html\n")

    def check(self, page):
        figures, records = Figures(page), self.records()
        good = [record for record in records if record["verdict"] == "good"]
        self.assertEqual({name: figures.texts[name] for name in ("runs", "good", "bad", "yield", "chips", "chips-good")},
                         {"runs": "4", "good": "3", "bad": "1", "yield": "75.0 %", "chips": "3", "chips-good": "3"})
        self.assertEqual(len(good), 3)
        self.assertEqual(figures.texts["slowest"], f"{max(record['seconds'] for record in good):.2f} s")
        shown = figures.tables["records"][1:]
        self.assertEqual([row[2] for row in shown], [record["chip"] for record in reversed(records)])
        self.assertEqual([row[3] for row in shown], [record["ieee"] for record in reversed(records)])
        cause, = (record["cause"] for record in records if record["verdict"] == "bad")
        self.assertEqual(figures.tables["causes"], [["1", "", cause]])
        states = {kind: [sum(row["kind"] == kind and row["state"] == state for row in self.pool())
                         for state in ("FREE", "LEASED", "CONFIRMED", "BURNED")] for kind in ("ieee", "ble")}
        self.assertEqual({row[0]: [int(cell) for cell in row[1:]] for row in figures.tables["pool"][1:]}, states)

    def test_the_pages_figures_are_those_of_the_database(self):
        self.check((self.path / "report.html").read_text())

    @unittest.skipUnless(BROWSER, "there is no chromium")
    def test_a_browser_shows_the_same(self):
        with tempfile.TemporaryDirectory() as profile:
            page = subprocess.run([BROWSER, "--headless", "--no-sandbox", "--disable-gpu", f"--user-data-dir={profile}",
                                   "--virtual-time-budget=1000", "--dump-dom", (self.path / "report.html").as_uri()],
                                  capture_output=True, timeout=120, check=True).stdout.decode()
        self.check(page)


if __name__ == "__main__":
    unittest.main()
