#!/usr/bin/env python3
"""Stock GDB debugs the example firmware on the virtual chip, and commands the server."""
import unittest

from served import Case, Relay


class Debug(Case):
    def test_breakpoints_steps_and_a_watched_variable(self):
        text = self.gdb(
            self.serve(), "load", "monitor reset halt", "maintenance flush register-cache", "hbreak main", "continue",
            "print $pc == ((unsigned)&main & ~1)", "print g_start", "print g_sum", "stepi", "stepi",
            "print $xpsr >> 24 & 1", "delete", "set can-use-hw-watchpoints 0", "watch g_sum", "continue", "print g_sum", "detach", file=self.example)
        self.assertEqual(self.values(text)[:4], ["1", "1000", "0", "1"])
        self.assertIn("Old value = 0", text)
        self.assertNotEqual(self.values(text)[4], "0")

    def test_four_breakpoints_in_flash_and_runs_from_the_reset(self):
        places = ("main", "*(main + 4)", "Stop", "Reset")
        text = self.gdb(
            self.serve(), "load", *[f"hbreak {place}" for place in places], "run", "print $pc == ((unsigned)&main & ~1)",
            "continue", "print $pc == ((unsigned)&main & ~1) + 4", "run", "print $pc == ((unsigned)&main & ~1)",
            "monitor reset halt", "maintenance flush register-cache", "print $pc == ((unsigned)&Reset & ~1)", "continue",
            "print $pc == ((unsigned)&main & ~1)", "delete", "kill", file=self.example)
        self.assertEqual(self.values(text), ["1"] * 5, text)

    def test_a_breakpoint_that_is_one_too_many_is_refused(self):
        breakpoints = [f"hbreak *{2 * index}" for index in range(7)]
        text = self.gdb(self.serve(), "load", *breakpoints, "continue", file=self.example, code=1)
        self.assertIn("Could not insert hardware breakpoint", text)

    def test_the_registers_that_an_operating_system_sets(self):
        text = self.gdb(self.serve(), "load", "monitor reset halt", "maintenance flush register-cache",
                        "print/x $msp == *(int*)0", "set $psp = 0x20000800", "set $control = 2",
                        "maintenance flush register-cache", "print/x $sp", "print/x $primask", "print/x $basepri",
                        "print/x $faultmask", file=self.example)
        self.assertEqual(self.values(text), ["0x1", "0x20000800", "0x0", "0x0", "0x0"])

    def test_a_breakpoint_in_code_in_ram(self):
        code = bytes.fromhex("00bf00bf00bf00bffee7")  # nop, four times, and a jump to itself
        image = self.elf("ram", (0x2000_0100, code), entry=0x2000_0100)
        text = self.gdb(self.serve(), "load", "set $pc = 0x20000100", "set $xpsr = 0x01000000", "break *0x20000104",
                        "continue", "print/x $pc", "x/2hx 0x20000104", file=image)
        self.assertEqual(self.values(text), ["0x20000104"])
        self.assertRegex(text, r"0x20000104:\s+0xbf00\s+0xbf00")

    def test_a_program_without_end_is_interrupted(self):
        def interrupt(data):
            return data + b"\x03" if b"vCont;c" in data else data

        text = self.gdb(Relay(self, self.serve(), interrupt).address, "load", "monitor reset halt",
                        "maintenance flush register-cache", "continue", "print g_start", file=self.example)
        self.assertIn("SIGINT", text)
        self.assertEqual(self.values(text), ["1000"])

    def test_a_fault_is_told_in_words(self):
        text = self.gdb(self.serve(), "set $pc = 0x08000000", "set $xpsr = 0x01000000", "continue", "monitor why")
        self.assertRegex(text, "SIGSEGV|SIGBUS")
        self.assertIn("0x08000000", text)

    def test_a_client_comes_back(self):
        address = self.serve()
        for _ in range(2):
            self.gdb(address, "load", "detach", file=self.example)
        text = self.gdb(address, "compare-sections", "kill", file=self.example)
        self.assertNotIn("MIS-MATCHED", text)
        self.assertIsNone(self.server.poll())

    def test_a_detached_program_runs(self):
        address = self.serve()
        self.gdb(address, "load", "hbreak main", "run", "detach", file=self.example)
        text = self.gdb(address, "print $pc == ((unsigned)&main & ~1)", "print g_start", file=self.example)
        self.assertEqual(self.values(text)[1], "1000")

    def test_a_killed_program_stands(self):
        address = self.serve()
        self.gdb(address, "load", "hbreak main", "run", "kill", file=self.example)
        text = self.gdb(address, "print $pc == ((unsigned)&main & ~1)", "print g_start", file=self.example)
        self.assertEqual(self.values(text), ["1", "1000"])


class Commands(Case):
    def test_speak_the_words_of_the_command_line(self):
        text = self.gdb(self.serve(), "monitor help", "monitor info", "monitor mac", "monitor plan", "monitor erase",
                        "monitor blank-check", "monitor reset", "monitor reset init", "monitor reset run",
                        "monitor halt", "monitor why")
        for words in ("blank-check", "Flash        352 KB", "primary IEEE", "The next load erases the sectors",
                      "writes only what differs", "keeps CCFG unless the program brings one", "verifies by CRC",
                      "is not refused if it would lock", "Erased all unprotected sectors", "Flash is blank", "Nothing has failed"):
            self.assertIn(words, text)

    def test_fail_in_words(self):
        address = self.serve()
        text = self.gdb(address, "monitor nonsense", code=1)
        self.assertIn('There is no command "nonsense"', text)
        text = self.gdb(address, "load", "monitor blank-check", file=self.example, code=1)
        self.assertIn("not blank", text)

    def test_plan_tells_the_options_of_the_server(self):
        text = self.gdb(self.serve("--erase", "retain", "--verify", "none", "--keep-ccfg", "--write", "all", "--skip-pages",
                                   "1-2", "--skip-fill", "0", "--protect", "3", before=()), "monitor plan")
        for words in ("keeps what else its sectors hold", "does not verify", "keeps CCFG, ", "is refused if it would lock",
                      "writes all of its sectors", "skips pages 1-2", "writes no sector of only 0x00",
                      "changes the last sector afterwards"):
            self.assertIn(words, text)
        self.assertIn("replaces CCFG, ", self.gdb(self.serve("--replace-ccfg", before=()), "monitor plan"))


if __name__ == "__main__":
    unittest.main()
