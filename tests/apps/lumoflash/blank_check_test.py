"""`lumoflash blank-check`."""
import unittest

from lumoflash import Case


class BlankCheck(Case):
    def test_all_of_flash_or_a_range(self):
        self.run_chip("erase")
        self.run_chip("blank-check")
        self.run_chip("program", f"{self.file('a.bin', b'1')}@0x1234")
        self.run_chip("blank-check", code=3)
        self.assertIn("first at 0x00001234, where it has 0x31", self.run_chip("blank-check", "--range", "0x1234:1", code=3)[1])
        self.run_chip("blank-check", "--range", "0:0x1234")
        self.run_chip("blank-check", "--range", "0x1235:0x100")
        for wrong in ("0:0", "0:0x10001", "0x10000:1", "0xFFFFFFFF:1"):
            self.assertIn("--range: ", self.run_chip("blank-check", "--range", wrong, code=2)[1])


if __name__ == "__main__":
    unittest.main()
