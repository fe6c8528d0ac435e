"""`lumoflash` on a part whose description names another flash controller and the flashloader for it."""
import unittest

from lumoflash import SOURCE, Case, pattern

CONTROLLER = "unit=8 written-once page=2048 protects-with-ones watchdog=100"


class Controller(Case):
    device = "LumoD9F64"

    def setUp(self):
        super().setUp()
        text = (SOURCE / "devices/lumod1f64.xml").read_text()
        for old, new in [("LumoD1F64", self.device), ("lumod-flashloader.elf", "lumod-double-words.elf"),
                         (" ccfgSizeRegister=", f' controller="{CONTROLLER}" ccfgSizeRegister=')]:
            self.assertIn(old, text)
            text = text.replace(old, new)
        (self.path / "parts").mkdir()
        (self.path / "parts/other.xml").write_text(text)

    def run_chip(self, *arguments, **options):
        return super().run_chip("--devices", str(self.path / "parts"), *arguments, **options)

    def test_chunks_that_end_inside_a_unit_are_programmed_and_verified(self):
        data = pattern(2 * 4096 + 13)
        image = self.file("a.bin", data)
        for erase in ["necessary", "retain", "all", "sectors:0-2"]:
            with self.subTest(erase=erase):
                self.run_chip("program", image, "--base", "0x103", "--erase", erase)
                self.run_chip("verify", image, "--base", "0x103")
        out, _ = self.run_chip("read", "--out", "-", "--range", f"{0x103}:{len(data)}")
        self.assertEqual(out, data)

    def test_a_chip_of_the_usual_controller_is_told_apart(self):
        self.run_raw("--device", "LumoD1F64", "--probe", f"virtual:{self.chip}", "erase")
        _, err = self.run_chip("info", code=4)
        self.assertIn("holds a chip whose flash controller is not that of LumoD9F64; choose another file", err)


if __name__ == "__main__":
    unittest.main()
