"""Defaults of a project from a TOML file."""
import json
import os
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

    def test_a_database_in_a_file_is_meant_from_there(self):
        (self.path / "project").mkdir()
        self.run_raw("pool", "create", "sqlite:project/line.db", "--ble", "C2:00:00:00:00:00-C2:00:00:00:00:03")
        self.file("project/c.toml", 'device = "LumoD1F64"\nprobe = "virtual:a.chip"\n[program]\nbase = 0\nrecord = "sqlite:line.db"\n')
        self.run_raw("--config", "project/c.toml", "program", self.file("a.bin", pattern(16)))
        _, err = self.run_raw("pool", "status", "sqlite:project/line.db")
        self.assertIn("1 record of chips", err)

    def test_the_file_may_say_where_bytes_that_are_read_go(self):
        self.new_chip()
        config = self.file("c.toml", '[read]\nout = "-"\nrange = "0:16"\n')
        self.assertEqual(len(self.run_chip("--config", config, "read")[0]), 16)
        self.run_chip("--config", self.file("d.toml", '[read]\nout = "d.bin"\n'), "read")
        self.assertTrue((self.path / "d.bin").exists())

    def test_a_pool_is_meant_from_the_file_s_folder(self):
        (self.path / "a/b").mkdir(parents=True)
        self.run_raw("pool", "create", "sqlite:a/line.db", "--ieee", "02:00:00:00:00:00:00:01-02:00:00:00:00:00:00:03")
        self.file("a/lumoflash.toml", 'device = "LumoD1F64"\nprobe = "virtual:chip.bin"\n[program]\n'
                  'assign = "ieee"\nassign-from = "sqlite:line.db"\n')
        self.run_in("a/b", "program", f"{self.file('a.bin', pattern(16))}@0")
        self.assertIn("02:00:00:00:00:00:00:01", self.run_in("a", "mac", "read", "sec-ieee")[0].decode())
        self.file("a/lumoflash.toml", '[program]\nrecord = "sqlite:line.db"\nassign = "usb"\n')
        self.assertIn("lumoflash.toml:3: --assign", self.run_in("a", "devices", code=2)[1])

    def test_a_file_is_found_in_the_working_folder_or_above(self):
        (self.path / "a/b").mkdir(parents=True)
        self.file("lumoflash.toml", 'device = "LumoD1F64"\nprobe = "virtual:chip.bin"\n')
        image = self.file("a.bin", pattern(16))
        self.run_in("a/b", "program", f"{image}@0")
        self.assertTrue((self.path / "chip.bin").exists())
        self.assertIn("LumoD1F64,", self.run_in(".", "info")[0].decode())
        self.file("a/lumoflash.toml", 'device = "LumoF2F352"\n')
        self.assertIn("LumoF2F352,", self.run_in("a/b", "info")[0].decode())

    def test_the_command_line_goes_before_the_environment_and_that_before_the_file(self):
        config = self.file("c.toml", 'device = "LumoD1F64"\n')
        environment = {"LUMOFLASH_CONFIG": config}
        self.assertIn("LumoD1F64,", self.run_in(".", "info", environment=environment)[0].decode())
        environment["LUMOFLASH_DEVICE"] = "LumoF2F352"
        self.assertIn("LumoF2F352,", self.run_in(".", "info", environment=environment)[0].decode())
        self.assertIn("LumoD1F32,", self.run_in(".", "info", "--device", "LumoD1F32", environment=environment)[0].decode())
        environment["LUMOFLASH_PROBE"] = f"virtual:{self.path}/environment.bin"
        self.run_in(".", "erase", environment=environment)
        self.assertTrue((self.path / "environment.bin").exists())
        other = self.file("d.toml", 'device = "LumoD1F128"\n')
        self.assertIn("LumoD1F128,", self.run_in(".", "info", "--config", other, environment={"LUMOFLASH_CONFIG": config})[0].decode())
        self.assertIn("missing.toml", self.run_in(".", "info", environment={"LUMOFLASH_CONFIG": "missing.toml"}, code=2)[1])

    def test_a_file_that_was_found_and_not_named_chooses_no_code(self):
        for text, option in (('plugin = "x.so"\n', "plugin"), ('probe = "gdb:localhost:1,reset=monitor exec"\n', "probe")):
            with self.subTest(option=option):
                config = self.file("lumoflash.toml", 'device = "LumoD1F64"\n' + text)
                _, err = self.run_in(".", "info", code=2)
                self.assertIn(f"{config}:2: {option} chooses code to run, which a file that was found and not named may not", err)
                self.assertIn(f"--config {config}", err)
        self.file("lumoflash.toml", 'device = "LumoD1F64"\nplugin = "x.so"\n')
        self.assertIn("There is no plug-in", self.run_in(".", "--config", "lumoflash.toml", "info", code=4)[1])

    @unittest.skipUnless(os.geteuid() == 0, "gives a file to another user")
    def test_a_found_file_of_another_user_is_refused(self):
        config = self.file("lumoflash.toml", 'device = "LumoD1F64"\n')
        os.chown(config, 12345, 12345)
        self.assertIn("belongs to another user; name it with --config", self.run_in(".", "info", code=2)[1])
        self.run_in(".", "info", "--config", config)

    def run_in(self, folder, *arguments, **options):
        return self.run_raw(*arguments, folder=self.path / folder, **options)

    def test_an_empty_file_says_nothing(self):
        self.run_chip("--config", self.file("empty.toml", ""), "erase")

    def test_mistakes_are_named_with_file_and_line(self):
        for text, expected in [("device = \n", "c.toml:1: "), ("\nspeed = 3\n", "c.toml:2: there is no option speed"),
                               ("[program]\nkeepccfg = true\n", "c.toml:2: there is no option keepccfg for program (did you mean --keep-ccfg?)"),
                               ("[paint]\ncolor = 1\n", "there is no command paint"), ("\n[!paint]\n", "c.toml:2: "), ("\ndevice = \u00e9\n", "c.toml:2: "),
                               ("device = 1.5\n", "c.toml:1: device"),
                               ("verbose = \"loud\"\n", "c.toml:1: "), ("\nquiet = 7\n", "c.toml:2: "),
                               ("json = -5\n", "c.toml:1: "), ("\njson = []\n", "c.toml:2: json has no value"),
                               ("[program]\nkeep-ccfg = []\n", "c.toml:2: keep-ccfg has no value"),
                               ("[validate-plugin]\nlist = []\n", "c.toml:2: list has no value"),
                               ("set = []\n", "c.toml:1: set has no value"),
                               ("\nyes = true\n", "c.toml:2: yes is said on the command line alone"),
                               ("[ccfg]\n'yes' = false\n", "c.toml:2: "),
                               ("[program]\nerase = \"some\"\n", 'c.toml:2: --erase: "some" is none of necessary'),
                               ("[program]\nskip-fill = 256\n", "c.toml:2: --skip-fill"),
                               ("[program]\nkeep-ccfg = 7\n", "c.toml:2: "),
                               ("[program]\nkeep-ccfg = true\nreplace-ccfg = true\n", "c.toml:3: --keep-ccfg and --replace-ccfg"),
                               ("[ccfg]\nble = \"C2\"\n", "c.toml:2: --ble"), ("[read]\nrange = \"5\"\n", "c.toml:2: --range"),
                               ("[validate-plugin]\ntime-limit = 0\n", "c.toml:2: --time-limit"),
                               ("[set]\n\nKeepCcfgSetting = 2\n", 'c.toml:3: KeepCcfgSetting: "2" is none of true, false'),
                               ("[set]\nKeepCcfgSeting = true\n", "c.toml:2: there is no property KeepCcfgSeting (did you mean KeepCcfgSetting?)")]:
            with self.subTest(text=text):
                self.assertIn(expected, self.run_chip("--config", self.file("c.toml", text), "info", code=2)[1])
        self.assertIn("missing.toml", self.run_chip("--config", "missing.toml", "info", code=2)[1])


    def test_switches_are_written_as_they_are_in_toml(self):
        config = self.file("c.toml", "[set]\nFlashVerboseMode = true\nCrcVerify = 'off'\n[property]\nOtherPlugins = 7\n")
        out, err = self.run_chip("--config", config, "program", self.file("a.bin", pattern(16)), "--base", "0")
        self.assertIn("Chunk 1", err)
        self.assertNotIn("crc=", err)

    def test_what_is_nested_deeper_than_the_stack_is_refused(self):
        deep = 50_000
        for text, line in [(".".join("a" * deep) + " = 1\n", 1), ("\n" + "[" + ".".join("a" * deep) + "]\n", 2),
                           ("a = " + "[" * deep + "]" * deep + "\n", 1), ("a = [\n" + "[\n" * deep, 17),
                           ("a = " + "{a=" * deep + "1" + "}" * deep + "\n", 1),
                           ("a = '''\n['''\nb = \"\"\"x\"\"\"\"\"" + "[" * deep, 3)]:
            with self.subTest(text=text[:40]):
                _, err = self.run_chip("--config", self.file("c.toml", text), "info", code=2)
                self.assertIn(f"c.toml:{line}: too deeply nested", err)
        harmless = "device = 'LumoD1F64' # " + "[" * deep + "\n[set]\nDeviceFlashloaderFile = \"\"\"" + "[." * 3000 + "\\\"[\"\"\"\n"
        self.assertNotIn("nested", self.run_chip("--config", self.file("c.toml", harmless), "info", code=4)[1])


if __name__ == "__main__":
    unittest.main()
