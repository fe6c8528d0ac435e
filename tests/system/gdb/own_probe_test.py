#!/usr/bin/env python3
"""Our client in front of our server: the same flash, the same words, the same exit codes as directly."""
import os
import re
import shutil
import unittest

from served import FLASH, SECTOR, Case, pattern


class OwnProbe(Case):
    def probe(self, address, *keys):
        return ",".join([f"gdb:{address}", "id-code=0x10000001", "timeout=60", *keys])

    def words(self, output):
        """Without what differs: times, and what they make of speeds."""
        return re.sub(r"(, )?[\d.]+ (s|ms|KiB/s)\b", "", output.decode())

    def test_every_command_does_the_same_as_directly(self):
        program = [(("program", None), 0), (("verify", None), 0), (("program", None), 0)]
        raw, text, last = self.path / "raw.bin", self.path / "text.hex", FLASH["LumoD1F128"] - SECTOR["LumoD1F128"]
        raw.write_bytes(pattern(9000))
        text.write_text(":0401000001020304F1\n:00000001FF\n")
        others = [(("program", f"{raw}@0x3000", str(text)), 0), (("program", f"{raw}@0x3000", "--write", "changed"), 0),
                  (("program", f"{raw}@0x4001", "--erase", "sectors:4-9", "--skip-fill", "0xFF"), 0),
                  (("program", f"{raw}@0x4002", "--erase", "none"), 2), (("verify", f"{raw}@0x4001", "--range", "0x5000:16"), 0),
                  (("program", f"{raw}@{last - 8000}", "--ble", "C2:00:00:00:00:09", "--retain-ieee"), 0),
                  (("program", f"{raw}@{last - 8000}", "--replace-ccfg", "--verify", "none"), 0), (("program", None), 0),
                  (("ccfg", "--protect", "3", "--yes"), 0), (("program", f"{raw}@{last}"), 2),
                  (("blank-check",), 3), (("program", None, "--erase", "retain", "--verify", "readback"), 0),
                  (("program", None, "--keep-ccfg", "--skip-pages", "1-2"), 0),
                  (("program", None, "--write", "all", "--dry-run"), 0),
                  (("program", None, "--erase", "none", "--base", "0", "--format", "bin"), 2),
                  (("mac", "write", "ble", "C2:00:00:00:00:07"), 0), (("mac", "read"), 0), (("ccfg",), 0),
                  (("program", None, "--disable-debug"), 2), (("verify", None), 3), (("verify", None, "--by", "link"), 3),
                  (("erase", "--sectors", "0-1"), 0), (("blank-check", "--range", "0:0x2000"), 0),
                  (("read", "--out", "-", "--range", "0:0x6000"), 0), (("read", "--out", "-", "--range", "0:0x60000"), 2),
                  (("erase", "--keep-ccfg"), 0), (("erase",), 0), (("blank-check",), 0),
                  (("program", None, "--erase", "all"), 0)]
        for part, commands in (("LumoD1F128", program + others), ("LumoF2F352", program)):
            with self.subTest(part):
                self.part = part
                self.chip = self.path / f"{part}.bin"
                direct = self.path / f"{part}.direct.bin"
                self.lumoflash("erase", probe=f"virtual:{direct}")
                shutil.copy(direct, self.chip)  # one identity
                server = self.probe(self.serve())
                for command, code in commands:
                    words = [str(self.example) if word is None else word for word in command]
                    through = self.lumoflash(*words, code=code, probe=server)
                    beside = self.lumoflash(*words, code=code, probe=f"virtual:{direct}")
                    self.assertEqual(through.stdout, beside.stdout, words)
                    self.assertEqual(self.words(through.stderr), self.words(beside.stderr), words)
                self.end_server()
                through = self.flash()
                self.chip = direct
                self.assertEqual(through, self.flash())

    def test_a_chip_that_fails_is_told_in_the_same_words(self):
        image = self.path / "image.bin"
        image.write_bytes(pattern(9000))
        for fault, code in (("operation-fails@1", 1), ("operation-fails@5", 1), ("operation-does-nothing@9", 3)):
            with self.subTest(fault):
                chips = self.path / f"{fault}.bin", self.path / f"{fault}.direct.bin"
                self.chip = chips[0]
                self.lumoflash("erase")
                shutil.copy(*chips)  # one identity
                os.environ["XDG_STATE_HOME"] = str(self.path / fault)
                command = "program", f"{image}@0"
                server = self.probe(self.serve(before=("--fault", fault)))
                through = self.lumoflash(*command, code=code, probe=server)
                shutil.rmtree(self.path / fault)  # notes of the load, which the next one would heed
                beside = self.lumoflash("--fault", fault, *command, code=code, probe=f"virtual:{chips[1]}")
                self.assertEqual(self.words(through.stderr), self.words(beside.stderr))
                self.lumoflash(*command, probe=server)
                self.end_server()
                self.lumoflash("verify", f"{image}@0")

    def test_programs_and_lets_the_core_run(self):
        server = self.probe(self.serve())
        self.lumoflash("program", str(self.example), "--run", probe=server)
        self.lumoflash("reset", probe=server)
        self.lumoflash("verify", str(self.example), probe=server)

    def test_reads_back_what_it_writes(self):
        self.lumoflash("--check-writes", "program", str(self.example), probe=self.probe(self.serve()))
        self.end_server()
        self.lumoflash("verify", str(self.example))

    def test_only_a_servers_writes_are_in_doubt(self):
        self.assertIn(b"--check-writes: ", self.lumoflash("--check-writes", "info", code=2).stderr)

    def test_tells_that_nobody_listens(self):
        address = self.serve()
        self.end_server()
        self.assertIn(b"connection refused", self.lumoflash("info", probe=self.probe(address), code=4).stderr)

    def test_a_debugger_loads_through_two_servers(self):
        behind = self.serve()
        address = self.serve(probe=self.probe(behind))
        text = self.gdb(address, "load", "compare-sections", "monitor reset halt", "maintenance flush register-cache",
                        "hbreak main", "continue", "print $pc == ((unsigned)&main & ~1)", "print g_start", "stepi",
                        "detach", file=self.example)
        self.assertNotIn("MIS-MATCHED", text)
        self.assertEqual(self.values(text), ["1", "1000"])


if __name__ == "__main__":
    unittest.main()
