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

    def test_the_format_comes_from_the_ending_and_program_reads_it_back(self):
        data = pattern(5000)
        self.run_chip("program", f"{self.file('a.bin', data)}@0x10")
        starts = {"hex": b":", "ihx": b":", "ihex": b":", "HEX": b":", "srec": b"S0", "s19": b"S0", "s28": b"S0", "s37": b"S0",
                  "mot": b"S0", "Mot": b"S0", "bin": data[:4], "dump": data[:4]}
        for ending, start in starts.items():
            with self.subTest(ending=ending):
                self.run_chip("read", "--out", f"out.{ending}", "--range", "0x10:5000")
                self.assertTrue((self.path / f"out.{ending}").read_bytes().startswith(start))
                self.run_chip("verify", f"out.{ending}" if start[:1] in b":S" else f"out.{ending}@0x10")
        self.run_chip("read", "--out", "out.txt", "--format", "srec")
        subprocess.run(["objcopy", "-I", "srec", "-O", "binary", "out.txt", "again.bin"], cwd=self.path, check=True)
        self.assertEqual((self.path / "again.bin").read_bytes()[0x10:0x10 + 5000], data)
        self.assertIn("--out out.ELF: read writes no ELF; choose another ending, or --format bin, hex or srec", self.run_chip("read", "--out", "out.ELF", code=2)[1])

    def test_raw_bytes_that_look_like_another_format_are_read_back_as_they_are(self):
        looks = b":00000001FF\n".ljust(64, b"\0")
        self.run_chip("program", "--format", "bin", self.file("looks.dat", looks), "--base", "0")
        self.run_chip("read", "--out", "again.bin", "--range", "0:64")
        self.run_chip("verify", "again.bin@0")

    def test_what_is_not_in_flash_ends_with_2(self):
        self.new_chip()
        self.assertIn("not inside the flash", self.run_chip("read", "--out", "x", "--range", "0x10000:1", code=2)[1])

    def test_what_cannot_be_written_ends_with_1(self):
        self.new_chip()
        self.assertIn("cannot be written", self.run_chip("read", "--out", "/dev/full", code=1)[1])


if __name__ == "__main__":
    unittest.main()
