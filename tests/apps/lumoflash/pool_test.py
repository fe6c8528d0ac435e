"""`lumoflash pool`, and `program` with addresses from one."""
import contextlib
import json
import os
import sqlite3
import subprocess
import unittest
from pathlib import Path

from lumoflash import Case, pattern


class Pool(Case):
    device = "LumoF2F352"

    def setUp(self):
        super().setUp()
        self.database = f"sqlite:{self.path / 'line.db'}"
        self.app = self.file("app.bin", pattern(100))

    def pool(self, *arguments, code=0):
        return self.run_raw("pool", *arguments, code=code)

    def create(self):
        self.pool("create", self.database, "--ieee", "02:00:00:00:00:00:00:01-02:00:00:00:00:00:00:03",
                  "--ble", "C2:00:00:00:00:01-C2:00:00:00:00:03")

    def assign(self, chip, *more, code=0):
        return self.run_raw("--device", self.device, "--probe", f"virtual:{chip}", "program", self.app, "--base", "0",
                            "--assign", "ieee,ble", "--assign-from", self.database, *more, code=code)

    def addresses(self, chip):
        out, _ = self.run_raw("--device", self.device, "--probe", f"virtual:{chip}", "mac", "read", "sec-ieee", "sec-ble")
        return [line.split()[-1] for line in out.decode().splitlines()]

    def exported(self, *more, name="out.csv"):
        self.pool("export", self.database, "--out", str(self.path / name), *more)
        return (self.path / name).read_text().splitlines()

    def journal(self):
        return next(Path(os.environ["XDG_STATE_HOME"]).glob("lumo-flash/line/*.journal"))


class Assigning(Pool):
    def test_each_chip_gets_its_own_addresses_and_keeps_them(self):
        self.create()
        out, _ = self.assign("a.chip")
        self.assertEqual(out.decode().splitlines()[:2],
                         ["secondary IEEE 02:00:00:00:00:00:00:01", "secondary BLE  C2:00:00:00:00:01"])
        self.assign("b.chip")
        first = self.addresses("a.chip")
        self.assertEqual(first, ["02:00:00:00:00:00:00:01", "C2:00:00:00:00:01"])
        self.assertEqual(self.addresses("b.chip"), ["02:00:00:00:00:00:00:02", "C2:00:00:00:00:02"])
        self.assign("a.chip")
        self.assertEqual(self.addresses("a.chip"), first)
        states = [line.split(",")[2] for line in self.exported()[1:]]
        self.assertEqual(states, ["CONFIRMED", "CONFIRMED", "FREE"] * 2)

    def test_the_record_tells_what_happened(self):
        self.create()
        self.assign("a.chip", "--operator", "Ada", "--station", "s1", "--slot", "left", "--run-id", "r1")
        record = json.loads(self.exported("--records", name="records.jsonl")[0])
        self.assertEqual((record["run"], record["operator"], record["station"], record["slot"], record["verdict"]),
                         ("r1", "Ada", "s1", "left", "good"))
        self.assertEqual(record["ieee"], "02:00:00:00:00:00:00:01")
        self.assertEqual(len(record["flashSha256"]), 64)
        self.assertEqual(record["files"][0]["name"], self.app)
        self.assertEqual(record["files"][0]["sha256"], subprocess.run(["sha256sum", self.app], capture_output=True).stdout.decode()[:64])

    def test_a_failure_is_recorded_with_its_cause_and_leaves_the_address_to_its_chip(self):
        self.create()
        self.run_raw("--device", self.device, "--probe", "virtual:a.chip", "--fault", "operation-fails@1", "program", self.app, "--base", "0",
                     "--assign", "ieee", "--assign-from", self.database, code=1)
        record = json.loads(self.exported("--records", name="records.jsonl")[0])
        self.assertEqual(record["verdict"], "bad")
        self.assertTrue(record["cause"])
        self.assertIn(",LEASED,", self.exported()[1])
        self.assign("a.chip")
        self.assertIn(",CONFIRMED,", self.exported()[1])

    def test_two_chips_of_one_identity_are_refused(self):
        self.create()
        self.assign("a.chip,identity=02:00:00:00:00:00:AA:01")
        _, err = self.assign("b.chip,identity=02:00:00:00:00:00:AA:01", code=1)
        self.assertIn("this is another chip of the same identity, or it was erased since", err)
        self.assertIn("--was-erased", err)

    def test_an_erased_chip_gets_its_addresses_again_when_its_user_says_so(self):
        self.create()
        self.assign("a.chip")
        self.run_raw("--device", self.device, "--probe", "virtual:a.chip", "erase")
        self.assign("a.chip", code=1)
        self.assign("a.chip", "--was-erased")
        self.assertEqual(self.addresses("a.chip")[0], "02:00:00:00:00:00:00:01")

    def test_a_chip_with_the_address_of_another_is_stopped(self):
        self.create()
        self.assign("a.chip")
        self.run_raw("--device", self.device, "--probe", "virtual:b.chip", "mac", "write", "ble", "C2:00:00:00:00:01")
        _, err = self.assign("b.chip", code=1)
        self.assertIn("carries the ble address C2:00:00:00:00:01, which is recorded for the chip", err)

    def test_an_identity_that_is_none_is_refused(self):
        self.create()
        for chip, none in (("a.chip", "00"), ("b.chip", "FF")):
            _, err = self.assign(f"{chip},identity={':'.join([none] * 8)}", code=1)
            self.assertIn("it has no identity", err)

    def test_a_dry_run_takes_nothing(self):
        self.create()
        self.run_raw("--device", self.device, "--probe", "virtual:a.chip", "program", self.app, "--base", "0", "--dry-run",
                     "--assign", "ieee", "--assign-from", self.database)
        self.assertIn(",FREE,", self.exported()[1])

    def test_a_record_alone_needs_no_pool_of_addresses(self):
        self.pool("create", self.database)
        self.run_raw("--device", self.device, "--probe", "virtual:a.chip", "program", self.app, "--base", "0", "--record", self.database)
        self.assertEqual(json.loads(self.exported("--records", name="r.jsonl")[0])["verdict"], "good")

    def test_contradictions_are_refused(self):
        for options, text in (
                (["--assign", "ieee"], "--assign and --assign-from belong together"),
                (["--assign", "wifi", "--assign-from", "sqlite:x"], '"wifi" is not ieee, ble or ieee,ble'),
                (["--assign", "ble", "--assign-from", "sqlite:x", "--retain-ble"], "--assign ble excludes --ble and --retain-ble"),
                (["--assign", "ble", "--assign-from", "mysql:x"], '"mysql:x" is no database'),
                (["--assign", "ble", "--assign-from", "sqlite:x", "--record", "sqlite:y"], "--record: the record goes where"),
                (["--assign", "ble", "--assign-from", "sqlite:missing.db"], "there is no such file")):
            _, err = self.run_raw("--device", self.device, "--probe", "virtual:a.chip", "program", self.app, "--base", "0", *options, code=2)
            self.assertIn(text, err)


class Keeping(Pool):
    def test_status_and_show(self):
        self.create()
        self.assign("a.chip")
        out, err = self.pool("status", self.database)
        self.assertEqual(out.decode().split("\n")[1].split(), ["ieee", "2", "0", "1", "0"])
        self.assertIn("1 record of chips", err)
        out, _ = self.pool("show", self.database, "C2:00:00:00:00:01")
        self.assertIn("CONFIRMED chip", out.decode())
        self.assertIn(": good", out.decode())
        _, err = self.pool("show", self.database, "C2:00:00:00:00:99", code=2)
        self.assertIn("is neither an address of the pool nor a chip that it knows", err)
        _, err = self.pool("show", self.database, "C2:00", code=2)
        self.assertEqual(err, 'error: "C2:00" is neither an IEEE address of 8 bytes nor a BLE address of 6, such as C2:00:00:00:00:01\n')

    def test_json(self):
        self.create()
        events = [json.loads(line) for line in self.run_raw("--json", "pool", "status", self.database)[0].splitlines()]
        self.assertEqual(events[1], {"event": "pool", "kind": "ieee", "FREE": 3, "LEASED": 0, "CONFIRMED": 0, "BURNED": 0})

    def test_an_export_is_imported_as_it_was(self):
        self.create()
        self.assign("a.chip")
        lines = self.exported()
        self.pool("create", f"sqlite:{self.path / 'copy.db'}")
        self.pool("import", f"sqlite:{self.path / 'copy.db'}", str(self.path / "out.csv"))
        self.database = f"sqlite:{self.path / 'copy.db'}"
        self.assertEqual(self.exported(name="again.csv"), lines)

    def test_what_is_wrong_with_a_file_is_told_with_its_line(self):
        self.pool("create", self.database)
        for content, text in (("kind,address\nwifi,1\n", 'line 2: "wifi" is neither ieee nor ble'),
                              ("ble,C2:00\n", "is not an address of 6 bytes"),
                              ("ble,C2:00:00:00:00:01,GONE\n", '"GONE" is no state'),
                              ("ble,C2:00:00:00:00:01,LEASED\n", "needs its chip"),
                              ("ble,FF:FF:FF:FF:FF:FF\n", "no chip can have this address"),
                              ('ble,"C2\n', "expected kind,address"),
                              ("ble,C2:00:00:00:00:01\nble,C2:00:00:00:00:01\n", "is there twice")):
            _, err = self.pool("import", self.database, self.file("x.csv", content), code=2)
            self.assertIn(text, err)
        self.assertEqual(self.exported(), ["kind,address,state,chip,station,time"])

    def test_a_second_pool_in_one_database_is_refused(self):
        self.create()
        _, err = self.pool("create", self.database, code=2)
        self.assertIn("there is a pool already", err)

    def test_a_lost_database_is_built_again_from_the_journal(self):
        self.create()
        self.assign("a.chip")
        self.assign("b.chip")
        before, records = self.exported(), self.exported("--records", name="records.jsonl")
        for file in self.path.glob("line.db*"):
            file.unlink()
        self.create()
        self.pool("reconcile", self.database)
        after = self.exported()
        self.assertEqual([line.split(",")[:4] for line in after], [line.split(",")[:4] for line in before])
        self.assertEqual(sorted(self.exported("--records", name="again.jsonl")), sorted(records))

    def test_reconcile_confirms_what_the_chip_carries_and_burns_the_rest(self):
        self.create()
        self.run_raw("--device", self.device, "--probe", "virtual:a.chip", "--fault", "operation-fails@1", "program", self.app, "--base", "0",
                     "--assign", "ieee,ble", "--assign-from", self.database, code=1)
        self.run_raw("--device", self.device, "--probe", "virtual:a.chip", "mac", "write", "ble", "C2:00:00:00:00:01")
        out, _ = self.run_raw("--device", self.device, "--probe", "virtual:a.chip", "pool", "reconcile", self.database)
        self.assertEqual(out.decode().splitlines(), ["ieee 02:00:00:00:00:00:00:01: burned, the chip does not carry it",
                                                     "ble C2:00:00:00:00:01: confirmed, the chip carries it"])

    def test_burning_by_hand(self):
        self.create()
        self.run_raw("--device", self.device, "--probe", "virtual:a.chip", "--fault", "operation-fails@1", "program", self.app, "--base", "0",
                     "--assign", "ble", "--assign-from", self.database, code=1)
        self.pool("reconcile", self.database, "--burn", "C2:00:00:00:00:01")
        self.assertIn("BURNED", self.pool("show", self.database, "C2:00:00:00:00:01")[0].decode())
        _, err = self.pool("reconcile", self.database, "--burn", "C2:00:00:00:00:02", code=2)
        self.assertIn("is FREE; only a leased one can be burned", err)

    def test_a_torn_journal_loses_one_line(self):
        self.create()
        self.assign("a.chip")
        with self.journal().open("a") as journal:
            journal.write('{"entry":{"step":"ended"')
        _, err = self.pool("reconcile", self.database)
        self.assertIn("the line is cut short, and left out", err)
        self.assign("b.chip")
        self.assertEqual(len(self.exported("--records", name="r.csv")), 3)

    def test_tables_of_a_later_version(self):
        self.create()
        with contextlib.closing(sqlite3.connect(self.path / "line.db")) as database, database:
            database.execute("UPDATE line_schema SET version = '9'")
        _, err = self.assign("a.chip", code=2)
        self.assertIn("its tables are of version 9", err)


if __name__ == "__main__":
    unittest.main()
