"""Ctrl-C while a command works."""
import json
import signal
import subprocess
import unittest
from pathlib import Path

from lumoflash import FLASH, HANGING_PLUGIN, PROGRAM, SECTOR, Case, pattern


class Interruption(Case):
    device = "LumoF2F352"

    def test_ctrl_c_stops_at_a_safe_point_and_the_same_command_succeeds(self):
        image = self.file("a.bin", pattern(FLASH[self.device] - SECTOR[self.device]))
        code, out, err = self.signal_while_it_programs(image, signal.SIGINT)
        self.assertEqual(code, 130, err)
        self.assertIn(b"nterrupted", err)
        self.assertEqual(json.loads(out.splitlines()[-1])["exitCode"], 130)
        self.run_chip("verify", image, "--base", "0", code=3)
        self.run_chip("program", image, "--base", "0")
        self.run_chip("verify", image, "--base", "0")

    def test_what_a_killed_load_was_to_touch_is_not_believed(self):
        data = pattern(6 * SECTOR[self.device])
        image = self.file("a.bin", data)
        self.run_chip("program", image, "--base", "0")
        changed = bytearray(data)
        for page in (1, 2, 4):
            changed[page * SECTOR[self.device]] ^= 1
        code, _, err = self.signal_while_it_programs(self.file("b.bin", bytes(changed)), signal.SIGKILL)
        self.assertEqual(code, -signal.SIGKILL, err)
        for expected in ({"touched by a load that did not end well": [1, 2, 4], "already right": [0, 3, 5]},
                         {"already right": [0, 1, 2, 3, 4, 5]}):
            plan = next(event for event in self.events("program", image, "--base", "0") if event["event"] == "plan")
            reasons = {reason["reason"]: reason["pages"] for reason in plan["reasons"]}
            self.assertEqual({key: reasons.get(key) for key in expected}, expected)

    def test_a_closed_terminal_is_told_twice_and_stops_at_a_safe_point(self):
        image = self.file("a.bin", pattern(FLASH[self.device] - SECTOR[self.device]))
        code, _, err = self.signal_while_it_programs(image, signal.SIGHUP, signal.SIGHUP)
        self.assertEqual(code, 130, err)
        self.run_chip("verify", image, "--base", "0", code=3)

    def test_a_second_ctrl_c_ends_even_what_never_comes_back(self):
        process = subprocess.Popen([PROGRAM, "--device", self.device, "--probe", f"virtual:{self.chip}", "--plugin", HANGING_PLUGIN,
                                    "info"], stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        self.wait_until_interrupt_is_caught(process, True)
        process.send_signal(signal.SIGINT)
        self.wait_until_interrupt_is_caught(process, False)  # the first one is noted; the plug-in does not come back
        process.send_signal(signal.SIGINT)
        process.communicate(timeout=120)
        self.assertEqual(process.returncode, -signal.SIGINT)
        self.assertFalse(self.chip.exists())

    def wait_until_interrupt_is_caught(self, process, is_caught):
        bit = 1 << (signal.SIGINT - 1)
        while process.poll() is None:
            status = Path(f"/proc/{process.pid}/status").read_text()
            caught = next(int(line.split()[1], 16) for line in status.splitlines() if line.startswith("SigCgt:"))
            if bool(caught & bit) == is_caught:
                return
        self.fail(f"ended by itself with {process.returncode}: {process.communicate()}")


if __name__ == "__main__":
    unittest.main()
