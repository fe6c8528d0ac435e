"""`lumoflash program`: loads with every choice, files of every format, and what is refused."""
import subprocess
import unittest
from pathlib import Path

from lumoflash import EXAMPLES, FLASH, PROGRAM, SECTOR, Case, ccfg, ihex, pattern, srec


class Program:
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


    def test_ccfg_stays_unless_the_file_brings_one_or_it_is_given_up(self):
        end, last = FLASH[self.device], FLASH[self.device] - SECTOR[self.device]
        app = self.file("a.bin", pattern(100))
        self.run_chip("program", self.file("c.bin", ccfg()), "--base", hex(end - 0x58))
        for arguments in (["--base", hex(last)], ["--base", "0", "--erase", "all"], ["--base", hex(last), "--keep-ccfg"]):
            kept, _ = self.run_chip("program", app, *arguments, "--dry-run")
            self.assertIn("; CCFG is kept\n", kept.decode())
            _, err = self.run_chip("program", app, *arguments)
            self.assertEqual(self.flash(end - 0x58), ccfg())
            warning = "warning: The load brings no CCFG, so the chip's own is kept; --replace-ccfg would give it up\n"
            self.assertEqual(warning in err, "--keep-ccfg" not in arguments)
        other = ccfg()[:4] + b"\x12" + ccfg()[5:]
        replaced, err = self.run_chip("program", self.file("c.bin", other), "--base", hex(end - 0x58), "--dry-run")
        self.assertIn("; CCFG is replaced\n", replaced.decode())
        self.run_chip("program", self.file("c.bin", other), "--base", hex(end - 0x58))
        self.assertEqual(self.flash(end - 0x58), other)
        config = self.file("no.toml", "[program]\nkeep-ccfg = false\n")
        for giveUp in (["--replace-ccfg"], ["--keep-ccfg=false"], ["--set", "KeepCcfgSetting=off"], ["--config", config]):
            replaced, err = self.run_chip("program", app, "--base", hex(last), "--dry-run", *giveUp)
            self.assertIn("; CCFG is replaced\n", replaced.decode(), giveUp)
        self.run_chip("program", app, "--base", hex(last), "--replace-ccfg")
        self.assertEqual(self.flash(end - 0x58), b"\xff" * 0x58)

    def test_what_cannot_be_programmed_without_erasing_is_refused_and_nothing_is_touched(self):
        self.run_chip("program", self.file("a.bin", b"\x0f" * 16), "--base", "0x100")
        before = self.chip.read_bytes()
        _, err = self.run_chip("program", self.file("b.bin", b"\x00\x0f\x0f\x0f" + b"\xf0" * 8), "--base", "0x100", "--erase", "none",
                               code=2)
        self.assertIn("--erase: the word at 0x00000104 is 0x0F0F0F0F and cannot become 0xF0F0F0F0 without being erased; "
                      "neither can 1 more\n", err)
        self.assertEqual(self.chip.read_bytes(), before)
        self.run_chip("program", self.file("b.bin", b"\x00" * 8), "--base", "0x100", "--erase", "none")
        self.assertEqual(self.flash(0x100, 16), b"\x00" * 8 + b"\x0f" * 8)


class ProgramOnLumoD(Program, Case):
    device = "LumoD1F64"


class ProgramOnLumoF(Program, Case):
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
        a, b = self.file("a.hex", good), self.file("b.hex", ihex(0x20, pattern(4)))
        _, err = self.run_chip("program", a, b, code=2)
        for expected in ("a.hex", "b.hex", "0x00000020"):
            self.assertIn(expected, err)
        self.assertIn("missing.bin", self.run_chip("program", "missing.bin", code=2)[1])
        self.assertFalse(self.chip.exists())


class Options(Case):
    def test_a_dry_run_shows_the_plan_and_touches_nothing(self):
        image = self.file("a.bin", pattern(5000))
        out, _ = self.run_chip("program", image, "--base", "0", "--dry-run", "--skip-pages", "3")
        self.assertIn("erase  0-1\nwrite  0-1\nkeep   none\nskip   3\n8192 bytes in whole sectors, 5000 of them from the file\n"
                      "0x00000000 |##.s............| 0x0000FFFF\n", out.decode())
        self.assertFalse(self.chip.exists())
        plan = [e for e in self.events("program", image, "--base", "0", "-n", "--erase", "retain") if e["event"] == "plan"][0]
        self.assertEqual((plan["erased"], plan["written"], plan["kept"]), ([], [0, 1], [1]))

    def test_only_what_changed_is_written_unless_all_is_asked_for(self):
        image = pattern(5 * 4096)
        self.run_chip("program", self.file("a.bin", image), "--base", "0")
        image = image[:4096] + b"new" + image[4099:]
        changed = self.file("b.bin", image)
        out, _ = self.run_chip("program", changed, "--base", "0", "--dry-run")
        self.assertIn("erase  1\nwrite  1\n", out.decode())
        self.assertIn("|=#===...........|", out.decode())
        self.assertIn("why    0,2-4: already right\nwhy    1: differs\nwhy    5-15: not in the file\n", out.decode())
        events = self.events("program", changed, "--base", "0")
        plan = [e for e in events if e["event"] == "plan"][0]
        self.assertEqual((plan["written"], plan["unchanged"]), ([1], [0, 2, 3, 4]))
        self.assertIn({"reason": "already right", "pages": [0, 2, 3, 4]}, plan["reasons"])
        self.assertEqual(events[-1]["text"], "programmed and verified by CRC: 1 of 5 sectors written, 4 already right")
        self.assertEqual(self.flash(0, len(image)), image)
        events = self.events("program", changed, "--base", "0")
        self.assertEqual(events[-1]["text"], "programmed and verified by CRC: 0 of 5 sectors written, 5 already right")
        self.assertNotIn("load", [e.get("phase") for e in events])
        events = self.events("program", changed, "--base", "0", "--write", "all")
        self.assertEqual(events[-1]["text"], "programmed and verified by CRC")

    def test_verify_by_the_target_and_by_the_link_say_the_same(self):
        image = pattern(3 * 4096)
        self.run_chip("program", self.file("a.bin", image), "--base", "0")
        other = self.file("b.bin", image[:5000] + b"X" + image[5001:])
        texts = set()
        for by in ("target", "link"):
            self.run_chip("verify", self.file("a.bin", image), "--base", "0", "--by", by)
            texts.add(self.run_chip("verify", other, "--base", "0", "--by", by, code=3)[1])
        self.assertEqual(len(texts), 1, texts)
        self.assertIn("1 of 12288 bytes differs, first at 0x00001388", texts.pop())

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
                plans.append(plan[0])
        self.assertEqual(len(set(plans)), len(cases) - 3)  # retained or not erased, and CCFG kept by itself or by option, look alike

    def test_an_option_by_its_own_name_wins_over_its_property(self):
        program = ["program", self.file("a.bin", pattern(100)), "--base", "0"]
        for arguments, verdict in [(["--set", "CrcVerify=0"], "not verified"), (["--set", "CrcVerify=1"], "by CRC"),
                                   (["--set", "CrcVerify=0", "--verify", "readback"], "by reading back")]:
            self.assertIn(verdict, self.events(*program, *arguments)[-1]["text"])
        self.assertIn("Chunk 1", self.run_chip(*program, "--write", "all", "--set", "FlashVerboseMode=1")[1])

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

    def test_protected_sectors_refuse_with_the_answer_in_words(self):
        self.run_chip("ccfg", "--protect", "0-1", "--yes")
        self.assertIn("Protected    pages 0-1", self.run_chip("ccfg")[0].decode())
        _, err = self.run_chip("program", self.file("a.bin", pattern(16)), "--base", "0", code=1)
        self.assertIn("Timed out waiting for target flashloader", err)
        self.assertIn("(operation failed)", err)
        self.assertIn("The chip protects page 0", err)

    def test_the_closing_options_of_a_load(self):
        self.run_chip("program", self.file("a.bin", pattern(16)), "--base", "0", "--ble", "C2:00:00:00:00:07",
                      "--disable-bootloader", "--protect", "9", "--yes")
        event = [e for e in self.events("ccfg") if e["event"] == "ccfg"][0]
        self.assertEqual((event["bootloaderDisabled"], event["debugDisabled"], event["protected"]), (True, False, [9]))


if __name__ == "__main__":
    unittest.main()
