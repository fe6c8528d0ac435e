"""The program lumoflash from outside: arguments, exit codes, streams, a terminal, JSON, every option, every refusal.

Run by CTest with the program, the source folder, the example firmware and a module that is no plug-in as environment
variables.
"""
import fcntl
import json
import os
import pty
import select
import signal
import subprocess
import tempfile
import unittest
from pathlib import Path

import jsonschema

PROGRAM = os.environ["LUMOFLASH"]
SOURCE = Path(os.environ["FLASH_SOURCE"])
EXAMPLES = Path(os.environ["EXAMPLE_FIRMWARE"])
NO_PLUGIN = os.environ["NO_PLUGIN"]
HANGING_PLUGIN = os.environ["HANGING_PLUGIN"]
SCHEMA = json.loads((SOURCE / "docs/lumoflash-events.schema.json").read_text())
DEVICES = ["LumoD1F64", "LumoF2F352"]
SECTOR = {"LumoD1F64": 4096, "LumoF2F352": 8192}
FLASH = {"LumoD1F64": 16 * 4096, "LumoF2F352": 44 * 8192}


def pattern(length, seed=1):
    return bytes((i * 7 + (i >> 8) * 13 + seed) & 0xFF for i in range(length))


def ccfg(debug=0xFF, protect=b"\xff" * 8):
    area = bytearray(b"\xff" * 0x58)
    area[8:12] = bytes([1, 0, 0x58, 0])
    area[0x58 - 0x29] = debug
    area[0x58 - 0x20:0x58 - 0x18] = protect
    return bytes(area)


def srec(address, data):
    """One S3 record per 16 bytes, and the end."""
    lines = []
    for offset in range(0, len(data), 16):
        piece = data[offset:offset + 16]
        body = bytes([len(piece) + 5]) + (address + offset).to_bytes(4, "big") + piece
        lines.append("S3" + body.hex().upper() + "%02X" % (~sum(body) & 0xFF))
    return "\n".join(lines + ["S70500000000FA"]) + "\n"


def ihex(address, data):
    def record(kind, offset, piece):
        body = bytes([len(piece)]) + offset.to_bytes(2, "big") + bytes([kind]) + piece
        return ":" + body.hex().upper() + "%02X" % (-sum(body) & 0xFF)
    lines = [record(4, 0, (address >> 16).to_bytes(2, "big"))]
    lines += [record(0, (address + i) & 0xFFFF, data[i:i + 16]) for i in range(0, len(data), 16)]
    return "\n".join(lines + [record(1, 0, b"")]) + "\n"


class Case(unittest.TestCase):
    device = "LumoD1F64"

    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.addCleanup(self.folder.cleanup)
        self.path = Path(self.folder.name)
        self.chip = self.path / "chip.bin"

    def file(self, name, content):
        path = self.path / name
        path.write_bytes(content if isinstance(content, bytes) else content.encode())
        return str(path)

    def run_raw(self, *arguments, code=0, environment=None, **options):
        result = subprocess.run([PROGRAM, *arguments], capture_output=True, cwd=self.path, timeout=120,
                                env={**os.environ, **(environment or {})}, stdin=subprocess.DEVNULL, **options)
        self.assertEqual(result.returncode, code, f"{arguments}\n{result.stdout[-2000:]}\n{result.stderr[-2000:]}")
        return result.stdout, result.stderr.decode()

    def run_chip(self, *arguments, code=0, **options):
        return self.run_raw("--device", self.device, "--probe", f"virtual:{self.chip}", *arguments, code=code, **options)

    def events(self, *arguments, code=0):
        out, _ = self.run_chip("--json", *arguments, code=code)
        events = [json.loads(line) for line in out.decode().splitlines()]
        for event in events:
            jsonschema.validate(event, SCHEMA)
        self.assertEqual(events[0]["event"], "start")
        self.assertEqual(events[-1]["event"], "result")
        self.assertEqual(events[-1]["exitCode"], code)
        return events

    def flash(self, address=0, length=None):
        length = FLASH[self.device] - address if length is None else length
        out, _ = self.run_chip("read", "--out", "-", "--range", f"{address}:{length}")
        return out


class Usage(Case):
    def test_every_command_has_help_with_an_example(self):
        for command in [["program"], ["verify"], ["read"], ["erase"], ["blank-check"], ["info"], ["mac"], ["mac", "read"],
                        ["mac", "write"], ["ccfg"], ["devices"], ["validate-plugin"], []]:
            out, err = self.run_raw(*command, "--help")
            self.assertIn("Example:\n  lumoflash", out.decode(), command)
            self.assertEqual(err, "")

    def test_version(self):
        out, _ = self.run_raw("--version")
        self.assertRegex(out.decode(), r"^\d+\.\d+\.\d+\n$")

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
            (["read", "--out", "x", "--range", "0x10000:1"], "not inside the flash"),
            (["read", "--out", "x", "--format", "elf"], "--format"),
            (["erase", "--sectors", "0", "--keep-ccfg"], "--keep-ccfg"),
            (["erase", "--sectors", "16"], "page 16 does not exist"),
            (["mac", "read", "third"], "third"),
            (["mac", "write", "pri-ble", "C2:00:00:00:00:01"], "pri-ble"),
            (["mac", "write", "ble", "nonsense"], "nonsense"),
            (["info", "--set", "novalue"], "KEY=VALUE"),
            ([*program, "--set", "FlashPageToggle=1", "--set", "FlashPages=1,"], "nothing between two commas"),
            ([*program, "--set", "FlashPagesFilledWith=1", "--set", "FlashPagesFilledWithValue=256"], "--skip-fill"),
            ([*program, "--set", "FlashEraseSetting=Specific Sectors"], "--erase"),
            ([*program, "--set", "DisableCpuDap=1"], "agree with --yes"),
            ([*program, "--set", "WriteProtectionToggle=1", "--set", "WriteProtectionText=3"], "agree with --yes"),
            (["erase", "--set", "StandaloneEraseSpecificText=0", "--set", "KeepCcfgSetting=1"], "--keep-ccfg"),
            (["ccfg", "--set", "DisableCpuDap=1"], "agree with --yes"),
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
        self.run_chip("program", "[p,q]", "--format", "bin", "--base", "0", "--set", "[A=1,B=2]")
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
        self.assertIn("--probe", self.run_raw("-d", "LumoD1F64", "--probe", "real", "info", code=2)[1])

    def test_devices_lists_every_description(self):
        out, _ = self.run_raw("devices")
        for path in (SOURCE / "devices").glob("*.xml"):
            self.assertIn(path.stem.lower(), out.decode().lower())

    def test_a_bad_description_is_named_with_its_line(self):
        self.file("bad.xml", "<flashProperties device='LumoD1'>\n<nonsense/></flashProperties>")
        self.assertIn("bad.xml:", self.run_chip("--devices", str(self.path), "info", code=2)[1])


class Unreachable(Case):
    def test_what_is_no_plugin_ends_with_4(self):
        text = self.file("plugin.so", "text")
        for plugin, expected in [("/nowhere.so", "There is no plug-in"), (text, "Cannot load the plug-in"),
                                 (NO_PLUGIN, "does not export CreateFlashDevice2")]:
            self.assertIn(expected, self.run_chip("--plugin", plugin, "info", code=4)[1])

    def test_a_file_that_is_no_chip_or_another_ends_with_4_and_stays_as_it_is(self):
        self.chip.write_bytes(b"no chip")
        self.assertIn("virtual chip", self.run_chip("info", code=4)[1])
        self.assertEqual(self.chip.read_bytes(), b"no chip")
        self.chip.unlink()
        self.run_chip("info")
        before = self.chip.read_bytes()
        self.device = "LumoF2F352"
        self.assertIn("--device", self.run_chip("info", code=4)[1])
        self.assertEqual(self.chip.read_bytes(), before)

    def test_a_chip_file_that_cannot_be_opened_ends_with_4(self):
        (self.path / "loop").symlink_to("loop")
        for name, expected in [("loop", "Too many levels of symbolic links"), ("x" * 300, "File name too long")]:
            self.chip = self.path / name
            _, err = self.run_chip("info", code=4)
            self.assertIn(f"Cannot open the virtual chip in {self.chip}: {expected}", err)

    def test_a_chip_in_use_ends_with_4_and_keeps_the_others_work(self):
        self.run_chip("info")
        with self.chip.open("rb") as file:
            fcntl.flock(file, fcntl.LOCK_EX)
            self.assertIn("in use by another lumoflash", self.run_chip("erase", code=4)[1])
        self.run_chip("erase")

    def test_a_missing_flashloader_is_named(self):
        _, err = self.run_chip("--set", "DeviceFlashloaderFile=missing.elf", "blank-check", code=1)
        self.assertIn("missing.elf", err)
        self.assertIn("Failed to write flashloader to device SRAM.", err)


class BothGenerations:
    def test_program_verify_read_and_erase(self):
        data = pattern(3 * SECTOR[self.device] + 100)
        image = self.file("a.bin", data)
        self.run_chip("program", image, "--base", "0x100")
        self.run_chip("verify", image, "--base", "0x100")
        self.assertEqual(self.flash(0x100, len(data)), data)
        _, err = self.run_chip("blank-check", code=3)
        self.assertIn("first at 0x00000100", err)
        self.run_chip("erase")
        self.run_chip("blank-check")
        self.assertIn("bytes differ, first at 0x00000100", self.run_chip("verify", image, "--base", "0x100", code=3)[1])

    def test_each_erase_choice_and_verification(self):
        data = pattern(SECTOR[self.device] + 50)
        image = self.file("a.bin", data)
        for erase in ["necessary", "retain", "all", "sectors:0-2", "none"]:
            for verify in ["crc", "readback", "none"]:
                with self.subTest(erase=erase, verify=verify):
                    self.chip.unlink(missing_ok=True)
                    events = self.events("program", image, "--base", "8", "--erase", erase, "--verify", verify)
                    self.assertIn({"crc": "by CRC", "readback": "reading back", "none": "not verified"}[verify],
                                  events[-1]["text"])
                    self.assertEqual(self.flash(8, len(data)), data)

    def test_keep_ccfg(self):
        end = FLASH[self.device]
        self.run_chip("program", self.file("c.bin", ccfg()), "--base", hex(end - 0x58))
        for erase in ["necessary", "all"]:
            self.run_chip("program", self.file("a.bin", pattern(100)), "--base", hex(end - SECTOR[self.device]),
                          "--keep-ccfg", "--erase", erase)
            self.assertEqual(self.flash(end - 0x58), ccfg())
        self.run_chip("erase", "--keep-ccfg")
        self.assertEqual(self.flash(end - 0x58), ccfg())

    def test_addresses(self):
        self.run_chip("mac", "write", "ble", "c2-00-00-00-00-01")
        self.run_chip("mac", "write", "ieee", "02:00:00:00:00:00:00:03")
        self.run_chip("program", self.file("a.bin", pattern(10)), "--base", "0", "--erase", "all", "--retain-ble",
                      "--ieee", "02:00:00:00:00:00:00:04")
        out, err = self.run_chip("mac", "read")
        self.assertEqual(out.decode().split("\n")[1:4:2], ["secondary BLE  C2:00:00:00:00:01",
                                                           "secondary IEEE 02:00:00:00:00:00:00:04"])
        self.assertIn("ReadSecBle: C2:00:00:00:00:01", err)

    def test_one_named_address(self):
        events = self.events("mac", "read", "pri-ble")
        self.assertEqual([e["address"] for e in events if e["event"] == "address"], ["C2:02:03:04:05:06"])


class GenerationD(BothGenerations, Case):
    device = "LumoD1F64"


class GenerationF(BothGenerations, Case):
    device = "LumoF2F352"


class Files(Case):
    def test_each_format_alone_and_several_at_once(self):
        data = pattern(300)
        files = [self.file("a.hex", ihex(0x0, data)), self.file("b.srec", srec(0x1000, data)), self.file("c.bin", data)]
        self.run_chip("program", *files, "--base", "0x2000")
        for address in (0, 0x1000, 0x2000):
            self.assertEqual(self.flash(address, 300), data)
        self.run_chip("verify", *files, "--base", "0x2000")

    def test_an_elf_program_is_in_flash_as_objcopy_sees_it(self):
        for self.device, variant in (("LumoD1F128", "lumod"), ("LumoF2F352", "lumof")):
            elf = EXAMPLES / f"{variant}-example.elf"
            self.chip = self.path / f"{variant}.chip"
            self.run_chip("program", str(elf), "--verify", "readback")
            subprocess.run(["arm-none-eabi-objcopy", "-O", "binary", "--gap-fill", "0xff", str(elf), "expected.bin"],
                           cwd=self.path, check=True)
            out, _ = self.run_chip("read", "--out", "-")
            self.assertEqual(out, (self.path / "expected.bin").read_bytes())

    def test_an_elf_of_the_flashloader_itself_lies_outside_flash(self):
        elf = Path(PROGRAM).resolve().parent.parent / "share/lumo-flash/arm/lumod-flashloader.elf"
        self.assertIn("outside flash", self.run_chip("program", str(elf), code=2)[1])

    def test_what_is_wrong_with_files_is_refused_with_file_and_place_before_anything_is_touched(self):
        good = ihex(0, pattern(64))
        broken = good.replace("\n", "\n", 1)
        lines = good.splitlines()
        lines[2] = lines[2][:-2] + ("00" if lines[2][-2:] != "00" else "01")
        cases = [
            ("checksum.hex", "\n".join(lines) + "\n", "line 3"),
            ("truncated.hex", "\n".join(good.splitlines()[:-1]) + "\n", "truncated.hex"),
            ("truncated.srec", srec(0, pattern(64)).rsplit("S7", 1)[0], "truncated.srec"),
            ("short.elf", b"\x7fELF\x01\x01\x01", "short.elf"),
            ("empty.bin", b"", "empty.bin"),
        ]
        for name, content, expected in cases:
            with self.subTest(name=name):
                self.assertIn(expected, self.run_chip("program", self.file(name, content), "--base", "0", code=2)[1])
        a, b = self.file("a.hex", broken), self.file("b.hex", ihex(0x20, pattern(4)))
        _, err = self.run_chip("program", a, b, code=2)
        for expected in ("a.hex", "b.hex", "0x00000020"):
            self.assertIn(expected, err)
        self.assertIn("missing.bin", self.run_chip("program", "missing.bin", code=2)[1])
        self.assertFalse(self.chip.exists())

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


    def test_a_file_has_one_part_in_a_command(self):
        image = self.file("a.bin", pattern(100))
        self.run_chip("program", image, "--base", "0")
        before = self.chip.read_bytes()
        (self.path / "link").symlink_to("chip.bin")
        cases = [
            (["read", "--out", "chip.bin"], "--out and --probe"),
            (["read", "--out", "./link"], "--out and --probe"),
            (["--trace", "chip.bin", "info"], "--trace and --probe"),
            (["--trace", "new", "read", "--out", "./new"], "--out and --trace"),
            (["--trace", image, "program", image, "--base", "0"], "--trace and FILE"),
        ]
        for arguments, expected in cases:
            with self.subTest(arguments=arguments):
                self.assertIn(expected + " name the same file", self.run_chip(*arguments, code=2)[1])
        self.assertEqual((self.chip.read_bytes(), Path(image).read_bytes()), (before, pattern(100)))
        self.run_chip("--trace", "/dev/null", "read", "--out", "/dev/null")

    def test_what_cannot_be_written_ends_with_1(self):
        self.assertIn("cannot be written", self.run_chip("read", "--out", "/dev/full", code=1)[1])

    def test_a_chip_behind_a_link_stays_there(self):
        self.chip.symlink_to("real.bin")
        self.run_chip("program", self.file("a.bin", pattern(100)), "--base", "0")
        self.run_chip("erase")
        self.assertTrue(self.chip.is_symlink())
        self.run_chip("blank-check")
        self.assertEqual(sorted(path.name for path in self.path.iterdir()), ["a.bin", "chip.bin", "real.bin"])


class ProgramOptions(Case):
    def test_a_dry_run_shows_the_plan_and_touches_nothing(self):
        image = self.file("a.bin", pattern(5000))
        out, _ = self.run_chip("program", image, "--base", "0", "--dry-run", "--skip-pages", "3")
        self.assertIn("erase  0-1\nwrite  0-1\nkeep   none\nskip   3\n8192 bytes in whole sectors, 5000 of them from the file\n"
                      "0x00000000 |##.s............| 0x0000FFFF\n", out.decode())
        self.assertFalse(self.chip.exists())
        plan = [e for e in self.events("program", image, "--base", "0", "-n", "--erase", "retain") if e["event"] == "plan"][0]
        self.assertEqual((plan["erased"], plan["written"], plan["kept"]), ([], [0, 1], [1]))

    def test_skipped_pages_and_fill(self):
        first = self.file("old.bin", pattern(5 * 4096, 9))
        self.run_chip("program", first, "--base", "0")
        data = pattern(4096) + b"\xee" * 4096 + pattern(3 * 4096, 3)
        self.run_chip("program", self.file("new.bin", data), "--base", "0", "--skip-pages", "3", "--skip-fill", "0xEE",
                      "--verify", "readback")
        old = pattern(5 * 4096, 9)
        self.assertEqual(self.flash(0, 5 * 4096), data[:4096] + old[4096:8192] + data[8192:12288] + old[12288:16384] + data[16384:])

    def test_a_property_that_an_option_stands_for_gives_the_option(self):
        image = self.file("a.bin", pattern(5000) + b"\xee" * 8000)
        self.run_chip("program", self.file("c.bin", ccfg()), "--base", hex(FLASH[self.device] - 0x58))
        cases = [
            (["FlashEraseSetting=Necessary Sectors Only"], []),
            (["FlashEraseSetting=Necessary Sectors Only (Retain untouched content within sector)"], ["--erase", "retain"]),
            (["FlashEraseSetting=All Unprotected Sectors (Bank Erase)"], ["--erase", "all"]),
            (["FlashEraseSetting=Specific Sectors", "ProgramLoadEraseSpecificText=0-5"], ["--erase", "sectors:0-5"]),
            (["FlashEraseSetting=Do not erase sectors (program load only)"], ["--erase", "none"]),
            (["FlashEraseSetting=All Unprotected Sectors", "KeepCcfgSetting=1"], ["--erase", "all", "--keep-ccfg"]),
            (["FlashPageToggle=1", "FlashPages=1"], ["--skip-pages", "1"]),
            (["FlashPageToggle=0", "FlashPages=1"], []),
            (["FlashPagesFilledWith=1", "FlashPagesFilledWithValue=0xEE"], ["--skip-fill", "0xEE"]),
        ]
        plans = []
        for properties, arguments in cases:
            given = [text for each in properties for text in ("--set", each)]
            with self.subTest(properties=properties):
                plan = self.run_chip("program", image, "--base", "0", "--dry-run", *arguments)
                self.assertEqual(self.run_chip("program", image, "--base", "0", "--dry-run", *given), plan)
                plans.append(plan)
        self.assertEqual(len(set(plans)), len(cases) - 2)

    def test_an_option_by_its_own_name_wins_over_its_property(self):
        program = ["program", self.file("a.bin", pattern(100)), "--base", "0"]
        for arguments, verdict in [(["--set", "CrcVerify=0"], "not verified"), (["--set", "CrcVerify=1"], "by CRC"),
                                   (["--set", "CrcVerify=0", "--verify", "readback"], "by reading back")]:
            self.assertIn(verdict, self.events(*program, *arguments)[-1]["text"])
        self.assertIn("Chunk 1", self.run_chip(*program, "--set", "FlashVerboseMode=1")[1])

    def test_closing_properties_change_the_chip_as_their_options_do(self):
        self.run_chip("ccfg", "--set", "OverrideBleSecondaryAddr=1", "--set", "DeviceBleSecondary=C2:00:00:00:00:09",
                      "--set", "DisableBootloader=1", "--set", "WriteProtectionToggle=1", "--set", "WriteProtectionText=9", "--yes")
        event = [e for e in self.events("ccfg", "--set", "CrcVerify=1") if e["event"] == "ccfg"][0]
        self.assertEqual((event["bootloaderDisabled"], event["debugDisabled"], event["protected"]), (True, False, [9]))
        self.assertIn("C2:00:00:00:00:09", self.run_chip("mac", "read", "sec-ble")[0].decode())

    def test_dangerous_steps_want_agreement(self):
        image = self.file("a.bin", pattern(16))
        for option in (["--disable-debug"], ["--protect", "0-3"]):
            _, err = self.run_chip("program", image, "--base", "0", *option, code=2)
            self.assertIn("--yes", err)
        locked = self.file("ccfg.bin", ccfg(debug=0))
        _, err = self.run_chip("program", locked, "--base", hex(FLASH[self.device] - 0x58), code=2)
        self.assertIn("The CCFG in the file disables the debug port", err)
        protecting = self.file("protect.bin", ccfg(protect=b"\xfe" + b"\xff" * 7))
        self.assertIn("write-protects pages", self.run_chip("program", protecting, "--base",
                                                            hex(FLASH[self.device] - 0x58), code=2)[1])
        self.assertIn("--yes", self.run_chip("ccfg", "--disable-debug", code=2)[1])
        self.assertFalse(self.chip.exists())

    def test_a_chip_that_is_locked_is_unreachable(self):
        self.run_chip("ccfg", "--disable-debug", "--yes")
        self.assertIn("debug port", self.run_chip("info", code=4)[1])

    def test_protected_sectors_refuse_with_the_answer_in_words(self):
        self.run_chip("ccfg", "--protect", "0-1", "--yes")
        self.assertIn("Protected    pages 0-1", self.run_chip("ccfg")[0].decode())
        _, err = self.run_chip("program", self.file("a.bin", pattern(16)), "--base", "0", code=1)
        self.assertIn("Timed out waiting for target flashloader", err)
        self.assertIn("(operation failed)", err)
        self.assertIn("The chip protects pages 0", err)

    def test_the_closing_options_of_a_load(self):
        self.run_chip("program", self.file("a.bin", pattern(16)), "--base", "0", "--ble", "C2:00:00:00:00:07",
                      "--disable-bootloader", "--protect", "9", "--yes")
        event = [e for e in self.events("ccfg") if e["event"] == "ccfg"][0]
        self.assertEqual((event["bootloaderDisabled"], event["debugDisabled"], event["protected"]), (True, False, [9]))

    def test_sectors_are_erased_alone(self):
        self.run_chip("program", self.file("a.bin", pattern(4 * 4096)), "--base", "0")
        self.run_chip("erase", "--sectors", "1,3")
        flash = self.flash(0, 4 * 4096)
        self.assertEqual(flash[4096:8192], b"\xff" * 4096)
        self.assertEqual(flash[8192:12288], pattern(4 * 4096)[8192:12288])


class Streams(Case):
    def test_a_pipe_gets_data_only_and_no_progress(self):
        out, err = self.run_chip("program", self.file("a.bin", pattern(9000)), "--base", "0")
        self.assertEqual((out, err), (b"", ""))
        self.assertNotIn("\x1b", self.run_chip("program", self.file("a.bin", pattern(16)), "--base", "0x20000", code=2)[1])

    def test_verbose_tells_what_the_plugin_does_and_the_verdict(self):
        _, err = self.run_chip("-v", "program", self.file("a.bin", pattern(9000)), "--base", "0")
        self.assertIn("Chunk 3: addr=0x00002000, length=4096, crc=0x", err)
        self.assertIn("Programmed, verified by CRC, 12288 bytes", err)

    def test_quiet_leaves_errors_only(self):
        self.run_chip("mac", "write", "ble", "C2:00:00:00:00:01", "-q")
        out, err = self.run_chip("mac", "read", "sec-ble", "-q")
        self.assertEqual((out, err), (b"secondary BLE  C2:00:00:00:00:01\n", ""))
        self.assertNotEqual(self.run_chip("verify", self.file("a.bin", b"\0"), "--base", "0", "-q", code=3)[1], "")

    def test_every_command_speaks_json(self):
        image = self.file("a.bin", pattern(100))
        self.events("program", image, "--base", "0")
        for arguments in (["verify", image, "--base", "0"], ["read", "--out", "x.bin"], ["info"], ["mac", "read"], ["ccfg"],
                          ["devices"], ["ccfg", "--disable-bootloader"], ["mac", "write", "ble", "C2:00:00:00:00:01"]):
            self.events(*arguments)
        self.events("blank-check", code=3)
        self.events("erase", "--sectors", "0")
        failed = self.events("verify", image, "--base", "0", code=3)
        self.assertFalse(failed[-1]["ok"])
        self.events("program", image, "--base", "0x10000", code=2)

    def test_a_reader_that_goes_away_does_not_stop_the_work(self):
        image = self.file("a.bin", pattern(9000))
        reading, writing = os.pipe()
        os.close(reading)
        result = subprocess.run([PROGRAM, "-d", self.device, "--probe", f"virtual:{self.chip}", "--json", "program", image, "--base", "0"],
                                stdout=writing, stderr=subprocess.PIPE, timeout=120)
        os.close(writing)
        self.assertEqual(result.returncode, 1)
        self.assertIn(b"Cannot write to standard output", result.stderr)
        self.run_chip("verify", image, "--base", "0")

    def test_a_full_disk_is_told(self):
        with open("/dev/full", "wb") as full:
            for arguments in (["devices"], ["--help"], ["program", "--help"], ["--version"]):
                with self.subTest(arguments=arguments):
                    result = subprocess.run([PROGRAM, *arguments], stdout=full, stderr=subprocess.PIPE, timeout=60)
                    self.assertEqual((result.returncode, result.stderr), (1, b"error: Cannot write to standard output\n"))

    def test_closed_streams_are_not_taken_for_files(self):
        def run(closed, *arguments, code):
            result = subprocess.run(["sh", "-c", f'exec "$@" {closed}', "sh", PROGRAM, *arguments], capture_output=True,
                                    timeout=120)
            self.assertEqual(result.returncode, code, result.stderr)
            return result
        check = ["validate-plugin", os.environ["PLUGIN"], "--check", "crc-value"]
        self.assertIn(b"passed  crc-value", run("<&- 2>&-", *check, code=0).stdout)
        self.assertEqual(run("<&- >&-", *check, code=1).stderr, b"error: Cannot write to standard output\n")
        run("<&- >&- 2>&-", "-d", self.device, "--probe", f"virtual:{self.chip}", "-v", "info", code=1)
        self.run_chip("blank-check")

    def test_a_trace_or_state_that_cannot_be_written_fails_the_command(self):
        _, err = self.run_chip("--trace", "/nowhere/t.json", "info", code=1)
        self.assertIn("/nowhere/t.json", err)
        self.chip = self.path / "none" / "chip.bin"
        self.assertIn("chip.bin", self.run_chip("info", code=1)[1])

    def test_every_failure_is_told_and_by_itself_reads_well(self):
        _, err = self.run_chip("--trace", "/nowhere/t.json", "info", code=1)
        self.assertEqual(err, "error: /nowhere/t.json: the file cannot be written: No such file or directory\n")
        self.chip = self.path / "none" / "chip.bin"
        _, err = self.run_chip("--trace", "/nowhere/t.json", "verify", self.file("a.bin", b"\0"), "--base", "0", code=3)
        for expected in ("1 of 1 bytes differ", "\nBesides: ", "chip.bin: the file cannot be written",
                         "/nowhere/t.json: the file cannot be written"):
            self.assertIn(expected, err)

    def test_a_warning_is_told_with_a_failure_even_when_quiet(self):
        program = ["program", self.file("a.bin", pattern(16)), "--base", "0", "-q"]
        self.assertEqual(self.run_chip(*program, "--keep-ccfg")[1], "")
        self.run_chip("ccfg", "--protect", "0", "--yes")
        self.file("a.bin", pattern(16, 9))
        _, err = self.run_chip(*program, code=1)
        self.assertIn("warning: The chip protects pages 0", err)

    def test_json_progress_ends_at_the_total(self):
        phases = [e for e in self.events("program", self.file("a.bin", pattern(9000)), "--base", "0", "--verify", "readback")
                  if e["event"] == "phase" and e["state"] == "end"]
        self.assertEqual([p["phase"] for p in phases], ["load", "program", "verify"])
        self.assertTrue(all(p["doneBytes"] == p["totalBytes"] for p in phases))

    def test_the_same_command_gives_the_same_trace(self):
        image = self.file("a.bin", pattern(5000))
        for name in ("1.json", "2.json"):
            self.chip.unlink(missing_ok=True)
            self.run_chip("--trace", name, "program", image, "--base", "0")
        first = (self.path / "1.json").read_bytes()
        self.assertEqual(first, (self.path / "2.json").read_bytes())
        self.assertGreater(len(json.loads(first)["traceEvents"]), 100)


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


class ValidatePlugin(Case):
    def test_the_own_plugin_passes_and_its_checks_are_listed(self):
        plugin = os.environ["PLUGIN"]
        out, err = self.run_raw("validate-plugin", plugin, "--check", "crc-value", "--check", "data-arrives")
        self.assertEqual((out.decode().count("  passed  "), err), (2, ""))
        out, _ = self.run_raw("validate-plugin", "--list")
        self.assertIn("crc-value (crc): ", out.decode())
        events = self.events("validate-plugin", plugin)
        checks = [event for event in events if event["event"] == "check"]
        self.assertGreater(len(checks), 25)
        self.assertEqual({check["outcome"] for check in checks}, {"passed"})
        self.assertEqual(events[-1]["text"], f"{len(checks)} of {len(checks)} checks passed")

    def test_a_broken_plugin_fails_with_what_was_expected_and_found(self):
        broken = os.environ["BROKEN_PLUGIN"]
        out, err = self.run_raw("validate-plugin", broken, "--check", "crc-value", code=1)
        self.assertIn("expected: CRC of the digits 1 to 9: 3421780262 (0xCBF43926)\n", out.decode())
        self.assertEqual(err, "error: 0 of 1 checks passed\n")
        events = self.events("validate-plugin", broken, "--check", "crc-value", code=1)
        self.assertEqual(events[1]["outcome"], "failed")

    def test_texts_that_are_not_utf_8_are_events_all_the_same(self):
        events = self.events("validate-plugin", os.environ["GARBLED_PLUGIN"], "--check", "crc-value", code=1)
        self.assertEqual(events[1]["found"], '"caf\ufffd"')

    def test_each_check_is_shown_as_it_ends_and_ctrl_c_ends_the_running_one(self):
        process, check = self.start_what_never_ends()
        process.send_signal(signal.SIGINT)
        out, err = process.communicate(timeout=120)
        self.assertEqual((process.returncode, out, err), (130, b"", b"error: Interrupted\n"))
        self.assertFalse(Path(f"/proc/{check}").exists())

    def test_a_check_ends_with_the_program(self):
        process, check = self.start_what_never_ends()
        check = os.pidfd_open(check)
        self.addCleanup(os.close, check)
        process.kill()
        process.communicate(timeout=120)
        self.assertTrue(select.select([check], [], [], 60)[0])

    def start_what_never_ends(self):
        """The program in its second check, and that check's process."""
        process = subprocess.Popen([PROGRAM, "validate-plugin", os.environ["NEVER_ENDING_PLUGIN"], "--time-limit", "3600",
                                    "--check", "crc-value", "--check", "erase-is-one-command"],
                                   stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        self.assertEqual(process.stdout.readline(), b"crc\n")
        self.assertIn(b"passed  crc-value", process.stdout.readline())
        while process.poll() is None:
            for child in Path(f"/proc/{process.pid}/task/{process.pid}/children").read_text().split():
                return process, int(child)
        self.fail(f"ended by itself with {process.returncode}: {process.communicate()}")


class Terminal(Case):
    def on_terminal(self, *arguments, answer=None, environment=None):
        """Runs with standard error and input on a terminal; returns the exit code and what was shown."""
        controller, terminal = pty.openpty()
        process = subprocess.Popen([PROGRAM, "--device", self.device, "--probe", f"virtual:{self.chip}", *arguments], cwd=self.path,
                                   stdin=terminal, stdout=terminal, stderr=terminal, env={**os.environ, **(environment or {})})
        os.close(terminal)
        shown = b""
        while True:
            try:
                piece = os.read(controller, 4096)
            except OSError:  # the other end is closed
                break
            if not piece:
                break
            shown += piece
            if answer is not None and b"Type yes: " in shown:
                if answer is signal.SIGINT:
                    process.send_signal(answer)
                else:
                    os.write(controller, answer.encode() + b"\n")
                answer = None
        os.close(controller)
        return process.wait(timeout=60), shown.decode()

    def test_progress_and_one_verdict(self):
        code, shown = self.on_terminal("program", self.file("a.bin", pattern(20000)), "--base", "0", "--verify", "readback")
        self.assertEqual(code, 0)
        for expected in ("load ", "program  100 %", "verify   100 %", "KiB/s", "\x1b[32mProgrammed, verified by reading back"):
            self.assertIn(expected, shown)
        self.assertEqual(shown.count("Programmed, "), 1)

    def test_no_color(self):
        for arguments, environment in ((["--no-color"], {}), ([], {"NO_COLOR": "1"})):
            code, shown = self.on_terminal(*arguments, "verify", self.file("a.bin", b"\0"), "--base", "0", environment=environment)
            self.assertEqual(code, 3)
            self.assertNotIn("\x1b[3", shown)

    def test_an_answer_decides_about_dangerous_steps(self):
        code, shown = self.on_terminal("ccfg", "--protect", "3", answer="no")
        self.assertEqual(code, 2)
        self.assertIn("Pages 3 will be write-protected", shown)
        code, shown = self.on_terminal("-q", "ccfg", "--protect", "3", answer="yes")
        self.assertEqual(code, 0)
        self.assertIn("Pages 3 will be write-protected", shown)  # whoever is asked is told
        self.assertIn("pages 3", self.run_chip("ccfg")[0].decode())

    def test_an_answer_decides_about_a_dangerous_load(self):
        program = ["program", self.file("a.bin", pattern(16)), "--base", "0", "--protect", "3"]
        code, shown = self.on_terminal(*program, answer="no")
        self.assertEqual((code, self.chip.exists()), (2, False))
        self.assertIn("Pages 3 will be write-protected", shown)
        code, shown = self.on_terminal(*program, answer="yes")
        self.assertEqual(code, 0)
        self.assertIn("Programmed, verified by CRC", shown)
        self.assertIn("pages 3", self.run_chip("ccfg")[0].decode())

    def test_ctrl_c_is_an_answer_too(self):
        code, shown = self.on_terminal("ccfg", "--protect", "3", answer=signal.SIGINT)
        self.assertEqual(code, 130)
        self.assertIn("Interrupted; nothing was touched", shown)
        self.run_chip("blank-check")


class Interruption(Case):
    device = "LumoF2F352"

    def test_ctrl_c_stops_at_a_safe_point_and_the_same_command_succeeds(self):
        data = pattern(FLASH[self.device] - SECTOR[self.device])
        arguments = [PROGRAM, "--device", self.device, "--probe", f"virtual:{self.chip}", "--json", "program",
                     self.file("a.bin", data), "--base", "0"]
        process = subprocess.Popen(arguments, cwd=self.path, stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        for line in process.stdout:
            event = json.loads(line)
            if event["event"] == "phase" and event["phase"] == "program" and event["state"] == "progress":
                process.send_signal(signal.SIGINT)
                break
        out, err = process.communicate(timeout=120)
        self.assertEqual(process.returncode, 130, err)
        self.assertIn(b"nterrupted", err)
        self.assertEqual(json.loads(out.splitlines()[-1])["exitCode"], 130)
        self.run_chip("verify", self.file("a.bin", data), "--base", "0", code=3)
        self.run_chip("program", self.file("a.bin", data), "--base", "0")
        self.run_chip("verify", self.file("a.bin", data), "--base", "0")

    def test_a_second_ctrl_c_ends_even_what_never_comes_back(self):
        process = subprocess.Popen([PROGRAM, "--device", self.device, "--probe", f"virtual:{self.chip}", "--plugin", HANGING_PLUGIN,
                                    "info"], stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        self.wait_until_interrupt_is_caught(process, True)
        process.send_signal(signal.SIGINT)
        self.wait_until_interrupt_is_caught(process, False)  # the first one is noted; the plug-in does not come back
        process.send_signal(signal.SIGINT)
        process.communicate(timeout=120)
        self.assertEqual(process.returncode, -signal.SIGINT)
        self.assertFalse(self.chip.exists())

    def wait_until_interrupt_is_caught(self, process, is_caught):
        bit = 1 << (signal.SIGINT - 1)
        while process.poll() is None:
            status = Path(f"/proc/{process.pid}/status").read_text()
            caught = next(int(line.split()[1], 16) for line in status.splitlines() if line.startswith("SigCgt:"))
            if bool(caught & bit) == is_caught:
                return
        self.fail(f"ended by itself with {process.returncode}: {process.communicate()}")


if __name__ == "__main__":
    unittest.main()
