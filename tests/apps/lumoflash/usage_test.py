"""Arguments: help, every mistake, and what belongs to an option."""
import os
import unittest

from lumoflash import Case, ihex, pattern


class Usage(Case):
    def test_every_command_has_help_with_an_example(self):
        for command in [["program"], ["verify"], ["read"], ["erase"], ["blank-check"], ["info"], ["mac"], ["mac", "read"],
                        ["mac", "write"], ["ccfg"], ["devices"], ["validate-plugin"], []]:
            out, err = self.run_raw(*command, "--help")
            self.assertIn("Example:\n  lumoflash", out.decode(), command)
            self.assertEqual(err, "")

    def test_version(self):
        out, _ = self.run_raw("--version")
        self.assertRegex(out.decode(), r"^lumoflash \d+\.\d+\.\d+( \([0-9a-f]{10,}(-dirty)?\))?\n$")
        self.assertEqual(self.run_raw("-V")[0], out)

    def test_help_is_a_command_too_and_shows_what_is_required_and_common(self):
        self.assertEqual(self.run_raw("help")[0], self.run_raw("--help")[0])
        for command in ["read"], ["mac", "write"]:
            out, _ = self.run_raw("help", *command)
            self.assertEqual(out, self.run_raw(*command, "--help")[0])
            self.assertIn("Options of every command", out.decode())
            self.assertIn("--device", out.decode())
        self.assertRegex(self.run_raw("help", "read")[0].decode(), r"--out.*\n?.*\(required\)")
        self.assertIn("There is no command raed (did you mean read?)", self.run_raw("help", "raed", code=2)[1])

    def test_a_mistyped_word_is_answered_with_the_nearest_one(self):
        cases = [(["pogram", "x"], "There is no command pogram (did you mean program?)"),
                 (["program", "x", "--keepccfg"], "--keepccfg (did you mean --keep-ccfg?)"),
                 (["info", "--devcie=x"], "(did you mean --device?)"),
                 (["mac", "raed"], "There is no command mac raed (did you mean read?); `lumoflash mac --help` lists them"),
                 (["program", "x", "--frobnicate"], "not expected: --frobnicate; `lumoflash program --help`")]
        for arguments, expected in cases:
            with self.subTest(arguments=arguments):
                self.assertIn(expected, self.run_raw(*arguments, code=2)[1])

    def test_wrong_use_ends_with_2_names_the_mistake_and_touches_nothing(self):
        image = self.file("a.bin", pattern(16))
        program = ["program", image, "--base", "0"]
        cases = [
            ([], "A subcommand is required; `lumoflash --help` tells more"),
            (["paint"], "There is no command paint"),
            (["program"], "FILE is required; `lumoflash program --help` tells more"),
            (["program", image, "--frobnicate"], "not expected: --frobnicate; `lumoflash program --help` tells more"),
            (["info", "--trace"], "--trace: "),
            (["program", self.file("a.hex", ihex(0, b"1")), "--base", "0"], "only a raw binary file takes an address"),
            (["--json", "read", "--out", "-"], "--json and --out - exclude each other"),
            ([*program, "--erase", "some"], '--erase: "some" is none of necessary, retain, all, sectors:LIST, none'),
            ([*program, "--erase", "sectors:"], "the list is empty"),
            ([*program, "--erase", "sectors:99"], "page 99 does not exist"),
            ([*program, "--verify", "maybe"], '--verify: "maybe" is none of'),
            ([*program, "--skip-pages", "1,"], "nothing between two commas"),
            ([*program, "--skip-fill", "256"], "--skip-fill"),
            ([*program, "--ble", "C2:00"], "--ble"),
            ([*program, "--ieee", "C2:00:00:00:00:01"], "--ieee"),
            ([*program, "--protect", "5-3", "--yes"], "runs backwards"),
            ([*program, "--retain-ble", "--ble", "C2:00:00:00:00:01"], "retained or replaced"),
            ([*program, "--skip-pages", "15", "--disable-bootloader"], "while that page is skipped"),
            (["program", image], "give it with --base ADDRESS"),
            (["program", image, "--base", "zero"], "--base"),
            (["program", image, "--base", "0x10000"], "outside flash"),
            ([*program, "--format", "exe"], "--format"),
            (["read"], "--out"),
            (["read", "--out", "x", "--range", "5"], "--range"),
            (["read", "--out", "x", "--format", "elf"], "--format"),
            (["erase", "--sectors", "0", "--keep-ccfg"], "--keep-ccfg"),
            (["erase", "--sectors", "16"], "page 16 does not exist"),
            (["mac", "read", "third"], "third"),
            (["mac", "write", "pri-ble", "C2:00:00:00:00:01"], "pri-ble"),
            (["mac", "write", "ble", "nonsense"], "nonsense"),
            (["info", "--set", "novalue"], "KEY=VALUE"),
            ([*program, "--set", "FlashPageToggle=1", "--set", "FlashPages=1,"], "nothing between two commas"),
            ([*program, "--set", "FlashPagesFilledWith=1", "--set", "FlashPagesFilledWithValue=256"], "FlashPagesFilledWithValue: "),
            ([*program, "--set", "KeepCcfgSetting=yes"], '--set: KeepCcfgSetting: "yes" is none of true, false, on, off, 1, 0'),
            ([*program, "--set", "FlashEraseSetting=garbage"], 'FlashEraseSetting: "garbage" is none of All Unprotected Sectors'),
            ([*program, "--set", "KeepCcfgSeting=1"], "there is no property KeepCcfgSeting (did you mean KeepCcfgSetting?); "
                                                      "--property sets any property unchecked"),
            ([*program, "--property", "novalue"], '--property: "novalue" is not KEY=VALUE'),
            ([*program, "--keep-ccfg", "--replace-ccfg"], "--keep-ccfg and --replace-ccfg exclude each other"),
            ([*program, "--set", "FlashEraseSetting=Specific Sectors"], "--erase"),
            ([*program, "--set", "DisableCpuDap=1"], ". Nothing was touched; agree with --yes"),
            ([*program, "--set", "WriteProtectionToggle=1", "--set", "WriteProtectionText=3"], ". Nothing was touched; agree with --yes"),
            (["erase", "--set", "StandaloneEraseSpecificText=0", "--set", "KeepCcfgSetting=1"], "--keep-ccfg"),
            (["ccfg", "--set", "DisableCpuDap=1"], ". Nothing was touched; agree with --yes"),
            (["info", "--json", "--quiet"], "exclude each other"),
            *[(["info", f"--json={text}"], "--json: ") for text in ("7", "-5", "0x1", "99999999999999999999", "on", "True")],
            ([*program, "--dry-run=0x1"], '"0x1" is neither true nor false'),
            (["info", "--verbose="], "--verbose=: there is no value"),
            (["info", "--trace=", "x"], "--trace=: there is no value"),
            *[(["validate-plugin", "x", "--time-limit", text], f'--time-limit: "{text}" is not a number from 1 to 3600')
              for text in ("0", "3601", " 5", "+5", "5s", "")],
        ]
        for arguments, expected in cases:
            with self.subTest(arguments=arguments):
                out, err = self.run_chip(*arguments, code=2)
                self.assertIn(expected, err)
                self.assertTrue(err.startswith("error: "), err)
                self.assertFalse(self.chip.exists())

    def test_an_option_takes_one_argument_and_leaves_those_behind_it(self):
        data = pattern(16)
        a, b = self.file("a.hex", ihex(0, data)), self.file("o=2.hex", ihex(0x100, data))
        self.run_chip("program", "--set", "CrcVerify=1", a)
        self.run_chip("program", a, "--set", "CrcVerify=1", b)
        self.assertEqual((self.flash(0, 16), self.flash(0x100, 16)), (data, data))
        self.run_raw("validate-plugin", "--check", "crc-value", "--check", "data-arrives", os.environ["PLUGIN"])

    def test_brackets_are_part_of_a_value(self):
        self.file("[p,q]", pattern(16))
        self.run_chip("program", "[p,q]", "--format", "bin", "--base", "0", "--property", "[A=1,B=2]")
        self.assertEqual(self.flash(0, 16), pattern(16))
        self.assertIn('"[A,B]" is not KEY=VALUE', self.run_chip("info", "--set", "[A,B]", code=2)[1])
        self.assertIn("[pri-ble,sec-ble]", self.run_chip("mac", "read", "[pri-ble,sec-ble]", code=2)[1])

    def test_numbers_are_decimal_also_behind_zeros_or_hexadecimal(self):
        plugin = os.environ["PLUGIN"]
        for number in ("08", "010", "0x10"):
            self.run_raw("validate-plugin", plugin, "--check", "crc-value", "--time-limit", number)

    def test_the_device_is_demanded_and_checked(self):
        self.assertIn("--device", self.run_raw("info", code=2)[1])
        self.assertIn("known are LumoD1F128", self.run_raw("-d", "LumoX9", "info", code=2)[1])
        self.assertIn('--device: there is no part "LumoD1F46" (did you mean LumoD1F64?)', self.run_raw("-d", "LumoD1F46", "info", code=2)[1])
        self.assertIn("short for more than one part", self.run_raw("-d", "lumo", "info", code=2)[1])
        self.assertIn("there is no part", self.run_raw("-d", "LumoD1F64X", "info", code=2)[1])
        self.assertIn("Device       LumoD1F64,", self.run_raw("-d", "LUMOD1F6", "info")[0].decode())
        self.assertIn("--probe", self.run_raw("-d", "LumoD1F64", "--probe", "real", "info", code=2)[1])


if __name__ == "__main__":
    unittest.main()
