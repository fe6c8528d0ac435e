"""Failures: the cause first, details behind it, and nothing that moves a cursor."""
import re
import signal
import unittest

from lumoflash import FLASH, SECTOR, Case, pattern


class Failure(Case):
    def test_the_first_line_is_the_cause_in_words(self):
        program = ["program", f"{self.file('a.bin', pattern(9000))}@0"]
        cases = [
            ("operation-fails@1", 1, "error: Programming: erasing sector 0 failed; the flash state machine's status is 4 (operation failed)."),
            ("operation-fails@5", 1, "error: Programming: programming failed; the flash state machine's status is 4"),
            ("power-loss-inside-operation@5", 1, "error: Programming: Cannot reach the target: the chip has no power."),
            ("link-error-at-transfer@40", 1, "error: Programming: Cannot reach the target: the debug link failed."),
            ("core-stops-at-operation@7", 1, "error: Programming: the flashloader never answered; the core stands at "),
            ("operation-does-nothing@9", 3, "error: Programming: what flash holds differs from what was sent, first at 0x0000001C"),
            ("link-error-at-transfer@1", 4, "error: Cannot identify the chip (a virtual LumoD with 64 KiB of flash): Cannot "),
        ]
        for fault, code, first in cases:
            with self.subTest(fault=fault):
                self.chip = self.path / f"{fault}.bin"
                notes = {"XDG_STATE_HOME": str(self.path / fault)}  # of loads that failed, which the next one would heed
                _, err = self.run_chip("--fault", fault, *program, code=code, environment=notes)
                # Which access it is, and where the block lies, depends on the image.
                shown = re.sub("Cannot (halt the core|read 4 bytes at 0x2000[0-9A-F]{4}):", "Cannot reach the target:", err)
                self.assertTrue(shown.startswith(first), err)
                self.assertNotIn("Timed out", err.splitlines()[0])

    def test_details_follow_indented(self):
        _, err = self.run_chip("--fault", "operation-fails@1", "program", f"{self.file('a.bin', pattern(9000))}@0", code=1)
        self.assertIn("\n  The plug-in said: Timed out waiting for target flashloader to execute command.\n  Block 0, command 19 ", err)

    def test_a_missing_flashloader_is_the_cause(self):
        _, err = self.run_chip("--set", "DeviceFlashloaderFile=missing.elf", "erase", code=1)
        self.assertRegex(err, r"^error: Erasing flash: .*/arm/missing\.elf: the file does not exist\n  The plug-in said: ")

    def test_ctrl_c_is_told_as_such_and_nothing_else(self):
        self.device = "LumoF2F352"
        image = self.file("a.bin", pattern(FLASH[self.device] - SECTOR[self.device]))
        code, _, err = self.signal_while_it_programs(image, signal.SIGINT)
        self.assertEqual((code, err), (130, b"error: Programming: interrupted; the same command again starts anew\n"))

    def test_texts_of_files_are_shown_with_control_characters_escaped(self):
        name = "a\x1b[31m\nb.bin"
        _, err = self.run_chip("program", self.file(name, b"x"), code=2)
        self.assertIn("a\\x1B[31m\\x0Ab.bin: ", err)
        self.assertNotIn("\x1b", err)

    def test_one_is_no_plural(self):
        self.run_chip("ccfg", "--protect", "3", "--yes")
        self.assertIn("Protected    page 3\n", self.run_chip("ccfg")[0].decode())
        one = self.file("one.bin", b"1")
        self.assertIn("1 of 1 byte differs, ", self.run_chip("verify", f"{one}@0", code=3)[1])


if __name__ == "__main__":
    unittest.main()
