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


if __name__ == "__main__":
    unittest.main()
