"""`lumoflash read`: where the bytes go."""
import subprocess
import unittest

from lumoflash import FLASH, Case, pattern


class Read(Case):
    def test_reading_to_hex_and_binary(self):
        data = pattern(5000)
        self.run_chip("program", self.file("a.bin", data), "--base", "0x10")
        self.run_chip("read", "--out", "out.hex", "--range", "0x10:5000")
        self.run_chip("read", "--out", "out.raw", "--range", "0x10:5000", "--format", "bin")
        self.assertEqual((self.path / "out.raw").read_bytes(), data)
        self.run_chip("verify", "out.hex")
        subprocess.run(["objcopy", "-I", "ihex", "-O", "binary", "out.hex", "again.bin"], cwd=self.path, check=True)
        self.assertEqual((self.path / "again.bin").read_bytes(), data)
        self.assertEqual(len(self.flash()), FLASH[self.device])

    def test_what_cannot_be_written_ends_with_1(self):
        self.assertIn("cannot be written", self.run_chip("read", "--out", "/dev/full", code=1)[1])


if __name__ == "__main__":
    unittest.main()
