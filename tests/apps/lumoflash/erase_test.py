"""`lumoflash erase`."""
import unittest

from lumoflash import Case, pattern


class Erase(Case):
    def test_sectors_are_erased_alone(self):
        self.run_chip("program", self.file("a.bin", pattern(4 * 4096)), "--base", "0")
        self.run_chip("erase", "--sectors", "1,3")
        flash = self.flash(0, 4 * 4096)
        self.assertEqual(flash[4096:8192], b"\xff" * 4096)
        self.assertEqual(flash[8192:12288], pattern(4 * 4096)[8192:12288])

    def test_a_dry_run_shows_the_sectors_and_touches_nothing(self):
        data = pattern(4 * 4096)
        self.run_chip("program", self.file("a.bin", data), "--base", "0")
        self.run_chip("ccfg", "--protect", "2", "--yes")
        before = self.chip.read_bytes()
        for arguments, erased in ([], [n for n in range(16) if n != 2]), (["--sectors", "1,3"], [1, 3]):
            with self.subTest(arguments=arguments):
                events = self.events("erase", *arguments, "--dry-run")
                self.assertEqual([event["erased"] for event in events if event["event"] == "plan"], [erased])
        self.assertIn("erase  0-1,3-15\n", self.run_chip("erase", "-n")[0].decode())
        self.assertEqual(self.chip.read_bytes(), before)


if __name__ == "__main__":
    unittest.main()
