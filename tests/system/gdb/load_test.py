#!/usr/bin/env python3
"""Stock GDB's `load` through `lumoflash gdbserver`: what flash holds afterwards."""
import subprocess
import unittest

from served import EXAMPLE, FLASH, GDB, LIMIT, PROGRAM, SECTOR, Case, packet, pattern


class Load(Case):
    def assert_matched(self, text, sections=None):
        self.assertNotIn("MIS-MATCHED", text)
        self.assertIn("matched.", text)
        if sections is not None:
            self.assertEqual(text.count("matched."), sections, text)

    def test_both_generations_load_and_compare(self):
        for part in EXAMPLE:
            with self.subTest(part):
                self.part = part
                self.chip = self.path / f"{part}.bin"
                self.assert_matched(self.gdb(self.serve(), "load", "compare-sections", file=self.example))
                self.assertEqual(self.end_server(), (b"", 0))
                self.lumoflash("verify", str(self.example))

    def test_sections_of_awkward_lengths_in_several_packet_sizes(self):
        sector = SECTOR[self.part]
        sections = [(0, b"x"), (2 * sector, pattern(sector + 1)), (5 * sector - 7, pattern(2 * sector + 9)),
                    (9 * sector + 3, b"#$}*" * 700), (FLASH[self.part] - 200, pattern(20))]
        expected = bytearray(b"\xff" * FLASH[self.part])
        for address, data in sections:
            expected[address:address + len(data)] = data
        image = self.elf("awkward", *sections)
        for size in ("512", "16384"):
            with self.subTest(size):
                self.chip = self.path / f"chip{size}.bin"
                self.gdb(self.serve("--packet-size", size), "load", file=image)
                self.end_server()
                self.assertEqual(self.flash(), bytes(expected))

    def test_a_section_outside_flash_leaves_flash_alone(self):
        image = self.elf("outside", (0, pattern(100)), (0x0100_0000, pattern(100)))
        rom = self.elf("rom", (0, pattern(100)), (0x1000_0000, pattern(100)))
        address = self.serve()
        for file in (image, rom):
            self.assertRegex(self.gdb(address, "load", file=file, code=1), "Load failed|outside|not writable|read-only")
        self.end_server()
        self.assertEqual(set(self.flash()), {0xFF})

    def test_ram_and_flash_in_one_file(self):
        image = self.elf("both", (0, pattern(300)), (0x2000_0100, pattern(500, seed=9)))
        self.assert_matched(self.gdb(self.serve(), "load", "compare-sections", file=image), sections=2)

    def test_a_second_load_replaces_the_first(self):
        sector = SECTOR[self.part]
        first, second = self.elf("one", (0, pattern(2 * sector))), self.elf("two", (0, pattern(300, seed=5)))
        address = self.serve()
        self.gdb(address, "load", file=first)
        self.assert_matched(self.gdb(address, "load", "load", "compare-sections", file=second))
        self.end_server()
        flash = self.flash()
        self.assertEqual(flash[:sector], pattern(300, seed=5) + b"\xff" * (sector - 300))
        self.assertEqual(flash[sector:2 * sector], pattern(2 * sector)[sector:])

    def test_retaining_keeps_what_no_section_covers(self):
        sector = SECTOR[self.part]
        first, second = self.elf("one", (0, pattern(sector))), self.elf("two", (16, pattern(300, seed=5)))
        self.gdb(self.serve(), "load", file=first)
        self.end_server()
        self.gdb(self.serve("--erase", "retain", "--verify", "readback"), "load", file=second)
        self.end_server()
        expected = bytearray(pattern(sector))
        expected[16:316] = pattern(300, seed=5)
        self.assertEqual(self.flash()[:sector], bytes(expected))
        self.assertIn("verified by reading back", self.log())

    def test_only_what_differs_is_written(self):
        sector = SECTOR[self.part]
        first = self.elf("one", (0, pattern(3 * sector)))
        second = self.elf("two", (0, pattern(2 * sector) + pattern(sector, seed=5)))
        address = self.serve()
        for image in (first, first, second):
            self.assert_matched(self.gdb(address, "load", "compare-sections", file=image))
        self.end_server()
        self.gdb(self.serve("--write", "all"), "load", file=second)
        verdicts = [line for line in self.log().splitlines() if line.startswith("programmed and verified")]
        self.assertRegex(verdicts[0], r"^programmed and verified by CRC: 24576 bytes, ")
        self.assertRegex(verdicts[1], ": 0 of 3 sectors written, 3 already right; ")
        self.assertRegex(verdicts[2], ": 1 of 3 sectors written, 2 already right; 8192 bytes, ")
        self.assertRegex(verdicts[3], r"^programmed and verified by CRC: 24576 bytes, ")

    def test_ccfg_stays_unless_the_program_brings_one(self):
        last, end = FLASH[self.part] - SECTOR[self.part], FLASH[self.part]
        self.lumoflash("program", str(self.example))
        area = self.flash()[end - 0x58:]
        beside = self.elf("beside", (last + 16, pattern(300)))
        address = self.serve()
        self.gdb(address, "load", file=beside)
        client = self.connect(address)
        for words in (b"vFlashErase:%x,%x" % (last, SECTOR[self.part]), b"vFlashWrite:0:abcd", b"vFlashDone"):
            client.sendall(b"+" + packet(words))
            while b"$OK#9a" not in client.recv(1000):
                pass
        client.close()
        self.assertEqual(self.log().count("The load brings no CCFG, so the chip's own is kept"), 2)
        self.end_server()
        flash = self.flash()
        self.assertEqual(flash[:4], b"abcd")
        self.assertEqual(set(flash[last:end - 0x58]), {0xFF})
        self.assertEqual(flash[end - 0x58:], area)
        self.gdb(self.serve("--replace-ccfg"), "load", file=beside)
        self.end_server()
        self.assertEqual(set(self.flash()[end - 0x58:]), {0xFF})

    def test_flash_is_erased_without_a_load(self):
        self.lumoflash("program", str(self.example))
        self.gdb(self.serve(), "flash-erase")
        self.end_server()
        self.lumoflash("blank-check")

    def test_the_machine_interface_downloads(self):
        result = subprocess.run(
            [GDB, "-nx", "--interpreter=mi2", str(self.example)],
            input=f"-target-select extended-remote {self.serve()}\n-target-download\n-gdb-exit\n".encode(),
            capture_output=True, timeout=LIMIT, cwd=self.path)
        self.assertIn(b"^done,address=", result.stdout)
        self.end_server()
        self.lumoflash("verify", str(self.example))

    def test_the_commands_of_an_editor_load_and_start_from_the_reset(self):
        text = self.gdb(self.serve(), "monitor reset halt", "load", "monitor reset halt",
                        "maintenance flush register-cache", "print $pc == ((unsigned)&Reset & ~1)", "monitor halt",
                        file=self.example)
        self.assertEqual(self.values(text), ["1"])

    def test_a_pipe_needs_no_port(self):
        pipe = f"| {PROGRAM} --device {self.part} --probe virtual:{self.chip} gdbserver --stdio"
        self.assert_matched(self.gdb(pipe, "load", "compare-sections", file=self.example))
        self.lumoflash("verify", str(self.example))


if __name__ == "__main__":
    unittest.main()
