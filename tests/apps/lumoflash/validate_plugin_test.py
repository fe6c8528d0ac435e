"""`lumoflash validate-plugin`."""
import os
import select
import signal
import subprocess
import unittest
from pathlib import Path

from lumoflash import PROGRAM, Case


class ValidatePlugin(Case):
    def test_the_own_plugin_passes_and_its_checks_are_listed(self):
        plugin = os.environ["PLUGIN"]
        out, err = self.run_raw("validate-plugin", plugin, "--check", "crc-value", "--check", "data-arrives")
        self.assertEqual((out.decode().count("  passed  "), err), (2, "2 of 2 checks passed\n"))
        out, _ = self.run_raw("validate-plugin", "--list")
        self.assertIn("crc-value (crc): ", out.decode())
        events = self.events("validate-plugin", plugin)
        checks = [event for event in events if event["event"] == "check"]
        self.assertGreater(len(checks), 25)
        self.assertEqual({check["outcome"] for check in checks}, {"passed"})
        self.assertEqual(events[-1]["text"], f"{len(checks)} of {len(checks)} checks passed")

    def test_a_broken_plugin_fails_with_what_was_expected_and_found(self):
        broken = os.environ["BROKEN_PLUGIN"]
        out, err = self.run_raw("validate-plugin", broken, "--check", "crc-value", code=1)
        self.assertIn("expected: CRC of the digits 1 to 9: 3421780262 (0xCBF43926)\n", out.decode())
        self.assertEqual(err, "error: 0 of 1 check passed\n")
        events = self.events("validate-plugin", broken, "--check", "crc-value", code=1)
        self.assertEqual(events[1]["outcome"], "failed")

    def test_texts_that_are_not_utf_8_are_events_all_the_same(self):
        events = self.events("validate-plugin", os.environ["GARBLED_PLUGIN"], "--check", "crc-value", code=1)
        self.assertEqual(events[1]["found"], '"caf\ufffd"')

    def test_each_check_is_shown_as_it_ends_and_ctrl_c_ends_the_running_one(self):
        process, check = self.start_what_never_ends()
        process.send_signal(signal.SIGINT)
        out, err = process.communicate(timeout=120)
        self.assertEqual((process.returncode, out, err), (130, b"", b"error: Interrupted\n"))
        self.assertFalse(Path(f"/proc/{check}").exists())

    def test_a_check_ends_with_the_program(self):
        process, check = self.start_what_never_ends()
        check = os.pidfd_open(check)
        self.addCleanup(os.close, check)
        process.kill()
        process.communicate(timeout=120)
        self.assertTrue(select.select([check], [], [], 60)[0])

    def start_what_never_ends(self):
        """The program in its second check, and that check's process."""
        process = subprocess.Popen([PROGRAM, "validate-plugin", os.environ["NEVER_ENDING_PLUGIN"], "--time-limit", "3600",
                                    "--check", "crc-value", "--check", "erase-is-one-command"],
                                   stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        self.assertEqual(process.stdout.readline(), b"crc\n")
        self.assertIn(b"passed  crc-value", process.stdout.readline())
        while process.poll() is None:
            for child in Path(f"/proc/{process.pid}/task/{process.pid}/children").read_text().split():
                return process, int(child)
        self.fail(f"ended by itself with {process.returncode}: {process.communicate()}")


if __name__ == "__main__":
    unittest.main()
