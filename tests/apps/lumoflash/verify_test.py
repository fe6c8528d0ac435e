"""`lumoflash verify`."""
import unittest

from lumoflash import Case, ihex, pattern


class Verify(Case):
    def test_a_range_limits_what_is_compared(self):
        data = bytearray(pattern(300))
        self.run_chip("program", self.file("a.bin", bytes(data)), "--base", "0x100")
        data[200] ^= 1
        other = self.file("b.hex", ihex(0x100, bytes(data)))
        self.assertIn("first at 0x000001C8", self.run_chip("verify", other, code=3)[1])
        self.run_chip("verify", other, "--range", "0x100:200")
        self.run_chip("verify", other, "--range", "0x1C9:0x1000")
        self.assertIn("first at 0x000001C8", self.run_chip("verify", other, "--range", "456:1", code=3)[1])
        self.assertIn("--range: no byte of the files lies in it", self.run_chip("verify", other, "--range", "0:0x100", code=2)[1])

    def test_files_have_addresses_of_their_own_and_one_may_be_a_pipe(self):
        data = pattern(40)
        a, b = self.file("a.bin", data), self.file("b.dat", data)
        self.run_chip("program", f"{a}@0x100", f"{b}@512", "-", "--base", "0x300", input=data)
        self.assertEqual([self.flash(address, 40) for address in (0x100, 0x200, 0x300)], [data] * 3)
        self.run_chip("verify", "-", input=ihex(0x200, data).encode())
        self.run_chip("verify", "-@0x100", input=data)
        for arguments, text, expected in ((["-"], b"", "standard input: it is empty"),
                                          (["-", "-@1"], data, "can be read only once"),
                                          (["-"], data, "standard input: neither content nor extension tells the format"),
                                          ([f"{self.file('c.hex', ihex(0, data))}@0"], b"", "with --format bin its bytes")):
            with self.subTest(arguments=arguments):
                self.assertIn(expected, self.run_chip("verify", *arguments, code=2, input=text)[1])

    def test_records_may_have_what_editors_and_old_systems_add(self):
        data = pattern(40)
        text = ihex(0x200, data)
        self.run_chip("program", self.file("a.hex", text))
        dressed = "\ufeff" + text.replace("\n", " \t\r\n") + "\x1a"
        self.run_chip("verify", self.file("b.hex", dressed))


if __name__ == "__main__":
    unittest.main()
