"""Defaults of a project from a TOML file."""
import json
import unittest

from lumoflash import Case, pattern


class Configuration(Case):
    def test_defaults_come_from_the_file_and_the_command_line_wins(self):
        (self.path / "project").mkdir()
        config = self.path / "project/lumoflash.toml"
        config.write_text('device = "LumoD1F64"\nprobe = "virtual:chip.bin"\n[program]\nbase = 0x40\nverify = "readback"\n'
                          '[set]\nDeviceFlashloaderFile = "missing.elf"\n')
        image = self.file("a.bin", pattern(100))
        _, err = self.run_raw("--config", str(config), "program", image, code=1)
        self.assertIn("missing.elf", err)
        loader = ["--set", "DeviceFlashloaderFile=lumod-flashloader.elf"]
        out, _ = self.run_raw("--config", str(config), "--json", *loader, "program", image)
        self.assertIn("reading back", json.loads(out.decode().splitlines()[-1])["text"])
        out, _ = self.run_raw("--config", str(config), "--json", *loader, "program", image, "--verify", "crc")
        self.assertIn("by CRC", json.loads(out.decode().splitlines()[-1])["text"])
        self.assertTrue((self.path / "project/chip.bin").exists())
        self.run_raw("--config", str(config), "verify", image, "--base", "0x40")

    def test_the_file_may_say_where_bytes_that_are_read_go(self):
        config = self.file("c.toml", '[read]\nout = "-"\nrange = "0:16"\n')
        self.assertEqual(len(self.run_chip("--config", config, "read")[0]), 16)
        self.run_chip("--config", self.file("d.toml", '[read]\nout = "d.bin"\n'), "read")
        self.assertTrue((self.path / "d.bin").exists())

    def test_an_empty_file_says_nothing(self):
        self.run_chip("--config", self.file("empty.toml", ""), "info")

    def test_mistakes_are_named_with_file_and_line(self):
        for text, expected in [("device = \n", "c.toml:1: "), ("\nspeed = 3\n", "c.toml:2: there is no option speed"),
                               ("[paint]\ncolor = 1\n", "there is no command paint"), ("\n[!paint]\n", "c.toml:2: "), ("\ndevice = \u00e9\n", "c.toml:2: "),
                               ("device = 1.5\n", "c.toml:1: device"),
                               ("verbose = \"loud\"\n", "c.toml:1: "), ("\nquiet = 7\n", "c.toml:2: "),
                               ("json = -5\n", "c.toml:1: "), ("\njson = []\n", "c.toml:2: json has no value"),
                               ("[program]\nkeep-ccfg = []\n", "c.toml:2: keep-ccfg has no value"),
                               ("[validate-plugin]\nlist = []\n", "c.toml:2: list has no value"),
                               ("set = []\n", "c.toml:1: set has no value")]:
            with self.subTest(text=text):
                self.assertIn(expected, self.run_chip("--config", self.file("c.toml", text), "info", code=2)[1])
        self.assertIn("missing.toml", self.run_chip("--config", "missing.toml", "info", code=2)[1])


if __name__ == "__main__":
    unittest.main()
