"""Standard output and standard error, for people and for programs."""
import os
import subprocess
import unittest

from lumoflash import PROGRAM, Case, ccfg, pattern


class Streams(Case):
    def test_a_pipe_gets_data_only_and_no_progress(self):
        out, err = self.run_chip("program", self.file("a.bin", pattern(9000)), "--base", "0")
        self.assertEqual(out, b"")
        self.assertRegex(err, r"^programmed and verified by CRC: 12288 bytes, \d+ ms, \d+\.\d KiB/s\n$")
        self.assertNotIn("\x1b", self.run_chip("program", self.file("a.bin", pattern(16)), "--base", "0x20000", code=2)[1])

    def test_verbose_tells_what_the_plugin_does(self):
        _, err = self.run_chip("-v", "program", self.file("a.bin", pattern(9000)), "--base", "0")
        self.assertIn("Chunk 3: addr=0x00002000, length=4096, crc=0x", err)
        self.assertIn("\nprogrammed and verified by CRC: 12288 bytes, ", err)

    def test_quiet_leaves_errors_only(self):
        self.run_chip("mac", "write", "ble", "C2:00:00:00:00:01", "-q")
        out, err = self.run_chip("mac", "read", "sec-ble", "-q")
        self.assertEqual((out, err), (b"secondary BLE  C2:00:00:00:00:01\n", ""))
        self.assertNotEqual(self.run_chip("verify", self.file("a.bin", b"\0"), "--base", "0", "-q", code=3)[1], "")

    def test_every_command_ends_with_one_verdict_that_says_what_was_done(self):
        image = self.file("a.bin", pattern(9000))
        cases = [
            (["program", f"{image}@0"], r"programmed and verified by CRC: 12288 bytes, \d+ ms, \d+\.\d KiB/s"),
            (["program", f"{image}@0"], r"programmed and verified by CRC: 0 of 3 sectors written, 3 already right; \d+ ms"),
            (["program", f"{image}@0", "--verify", "none", "--write", "all"], r"programmed, not verified: 12288 bytes, .*"),
            (["program", f"{image}@0", "--verify", "readback", "--write", "all"], r"programmed and verified by reading back: 12288 bytes, .*"),
            (["program", f"{image}@0", "--skip-pages", "1", "--write", "all"],
             r"programmed and verified by CRC; neither written nor verified: page 1 \(skipped\); 8192 bytes, .*"),
            (["program", f"{image}@0", "--dry-run"], r"nothing was touched: \d+ ms"),
            (["verify", f"{image}@0"], r"verified, no difference: 9000 bytes, \d+ ms, \d+\.\d KiB/s"),
            (["read", "--out", "x.bin", "--range", "0:1"], r"read: 1 byte, \d+ ms, \d+\.\d KiB/s"),
            (["blank-check", "--range", "0x4000:16"], r"the range is blank: 16 bytes, .*"),
            (["mac", "write", "ble", "C2:00:00:00:00:01"], r"written and read back: \d+ ms"),
            (["mac", "read"], r"addresses read: 4; \d+ ms"), (["mac", "read", "sec-ble"], r"addresses read: 1; \d+ ms"),
            (["ccfg"], r"nothing was changed: \d+ ms"), (["ccfg", "--disable-bootloader"], r"CCFG changed and verified: \d+ ms"),
            (["info"], r"identified.*"), (["devices"], r"\d+ parts"),
            (["erase", "--sectors", "0-1"], r"erased sectors 0-1: \d+ ms"), (["erase", "--sectors", "1"], r"erased sector 1: \d+ ms"),
            (["erase"], r"erased all unprotected sectors: \d+ ms"), (["blank-check"], r"flash is blank: \d+ ms"),
        ]
        for arguments, verdict in cases:
            with self.subTest(arguments=arguments):
                self.assertRegex(self.run_chip(*arguments)[1], "^" + verdict + "\n$")
                self.assertEqual(self.run_chip(*arguments, "--quiet")[1], "")

    def test_a_kept_ccfg_is_no_part_of_what_was_verified(self):
        self.run_chip("program", f"{self.file('c.bin', ccfg())}@0x{0x10000 - 0x58:X}")
        image = self.file("a.bin", pattern(4096))
        _, err = self.run_chip("program", f"{image}@0xF000", "--keep-ccfg")
        self.assertIn("; neither written nor verified: CCFG (the chip's is kept); 4096 bytes", err)

    def test_each_address_is_shown_once(self):
        result = subprocess.run([PROGRAM, "-d", self.device, "mac", "read", "pri-ble"], stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                                cwd=self.path, timeout=60)
        self.assertEqual(result.stdout.count(b"C2:02:03:04:05:06"), 1)

    def test_every_command_speaks_json(self):
        image = self.file("a.bin", pattern(100))
        self.events("program", image, "--base", "0")
        for arguments in (["verify", image, "--base", "0"], ["read", "--out", "x.bin"], ["info"], ["mac", "read"], ["ccfg"],
                          ["devices"], ["ccfg", "--disable-bootloader"], ["mac", "write", "ble", "C2:00:00:00:00:01"]):
            self.events(*arguments)
        self.events("blank-check", code=3)
        self.events("erase", "--sectors", "0")
        failed = self.events("verify", image, "--base", "0", code=3)
        self.assertFalse(failed[-1]["ok"])
        self.events("program", image, "--base", "0x10000", code=2)

    def test_a_reader_that_goes_away_does_not_stop_the_work(self):
        image = self.file("a.bin", pattern(9000))
        reading, writing = os.pipe()
        os.close(reading)
        result = subprocess.run([PROGRAM, "-d", self.device, "--probe", f"virtual:{self.chip}", "--json", "program", image, "--base", "0"],
                                stdout=writing, stderr=subprocess.PIPE, timeout=120)
        os.close(writing)
        self.assertEqual(result.returncode, 1)
        self.assertIn(b"Cannot write to standard output", result.stderr)
        self.run_chip("verify", image, "--base", "0")

    def test_a_full_disk_is_told(self):
        with open("/dev/full", "wb") as full:
            for arguments in (["devices"], ["--help"], ["program", "--help"], ["--version"]):
                with self.subTest(arguments=arguments):
                    result = subprocess.run([PROGRAM, *arguments], stdout=full, stderr=subprocess.PIPE, timeout=60)
                    self.assertEqual((result.returncode, result.stderr), (1, b"error: Cannot write to standard output\n"))

    def test_closed_streams_are_not_taken_for_files(self):
        def run(closed, *arguments, code):
            result = subprocess.run(["sh", "-c", f'exec "$@" {closed}', "sh", PROGRAM, *arguments], capture_output=True,
                                    timeout=120)
            self.assertEqual(result.returncode, code, result.stderr)
            return result
        check = ["validate-plugin", os.environ["PLUGIN"], "--check", "crc-value"]
        self.assertIn(b"passed  crc-value", run("<&- 2>&-", *check, code=0).stdout)
        self.assertEqual(run("<&- >&-", *check, code=1).stderr, b"error: Cannot write to standard output\n")
        self.new_chip()
        run("<&- >&- 2>&-", "-d", self.device, "--probe", f"virtual:{self.chip}", "-v", "info", code=1)
        self.run_chip("blank-check")

    def test_a_warning_is_told_with_a_failure_even_when_quiet(self):
        program = ["program", self.file("a.bin", pattern(16)), "--base", "0", "-q"]
        self.assertEqual(self.run_chip(*program, "--keep-ccfg")[1], "")
        self.run_chip("ccfg", "--protect", "0", "--yes")
        self.file("a.bin", pattern(16, 9))
        _, err = self.run_chip(*program, code=1)
        self.assertIn("warning: The chip protects page 0, which the load touches", err)

    def test_json_progress_ends_at_the_total(self):
        phases = [e for e in self.events("program", self.file("a.bin", pattern(9000)), "--base", "0", "--verify", "readback")
                  if e["event"] == "phase" and e["state"] == "end"]
        self.assertEqual([p["phase"] for p in phases], ["load", "program", "verify"])
        self.assertTrue(all(p["doneBytes"] == p["totalBytes"] for p in phases))


if __name__ == "__main__":
    unittest.main()
