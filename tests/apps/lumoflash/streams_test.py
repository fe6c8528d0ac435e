"""Standard output and standard error, for people and for programs."""
import os
import subprocess
import unittest

from lumoflash import PROGRAM, Case, pattern


class Streams(Case):
    def test_a_pipe_gets_data_only_and_no_progress(self):
        out, err = self.run_chip("program", self.file("a.bin", pattern(9000)), "--base", "0")
        self.assertEqual((out, err), (b"", ""))
        self.assertNotIn("\x1b", self.run_chip("program", self.file("a.bin", pattern(16)), "--base", "0x20000", code=2)[1])

    def test_verbose_tells_what_the_plugin_does_and_the_verdict(self):
        _, err = self.run_chip("-v", "program", self.file("a.bin", pattern(9000)), "--base", "0")
        self.assertIn("Chunk 3: addr=0x00002000, length=4096, crc=0x", err)
        self.assertIn("Programmed, verified by CRC, 12288 bytes", err)

    def test_quiet_leaves_errors_only(self):
        self.run_chip("mac", "write", "ble", "C2:00:00:00:00:01", "-q")
        out, err = self.run_chip("mac", "read", "sec-ble", "-q")
        self.assertEqual((out, err), (b"secondary BLE  C2:00:00:00:00:01\n", ""))
        self.assertNotEqual(self.run_chip("verify", self.file("a.bin", b"\0"), "--base", "0", "-q", code=3)[1], "")

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
        run("<&- >&- 2>&-", "-d", self.device, "--probe", f"virtual:{self.chip}", "-v", "info", code=1)
        self.run_chip("blank-check")

    def test_a_warning_is_told_with_a_failure_even_when_quiet(self):
        program = ["program", self.file("a.bin", pattern(16)), "--base", "0", "-q"]
        self.assertEqual(self.run_chip(*program, "--keep-ccfg")[1], "")
        self.run_chip("ccfg", "--protect", "0", "--yes")
        self.file("a.bin", pattern(16, 9))
        _, err = self.run_chip(*program, code=1)
        self.assertIn("warning: The chip protects pages 0", err)

    def test_json_progress_ends_at_the_total(self):
        phases = [e for e in self.events("program", self.file("a.bin", pattern(9000)), "--base", "0", "--verify", "readback")
                  if e["event"] == "phase" and e["state"] == "end"]
        self.assertEqual([p["phase"] for p in phases], ["load", "program", "verify"])
        self.assertTrue(all(p["doneBytes"] == p["totalBytes"] for p in phases))


if __name__ == "__main__":
    unittest.main()
