#!/usr/bin/env python3
"""Loads that fail, are refused or are given up: the words, the exit code, and what flash holds."""
import signal
import subprocess
import unittest

from served import FLASH, GDB, LIMIT, PROGRAM, SCRIPT, SECTOR, Case, Relay, pattern


class FailedLoad(Case):
    def faulty(self, fault, *arguments):
        """A server over a chip that fails once. GDB starts it."""
        return f"| {PROGRAM} --device {self.part} --fault {fault} gdbserver --stdio {' '.join(arguments)}"

    def test_the_server_tells_what_failed_and_the_next_load_is_whole(self):
        cases = [("an erase", "operation-fails@1", (), "rase"),
                 ("programming", "operation-fails@2", (), "rogram"),
                 ("verification by CRC", "operation-does-nothing@2", (), "erif"),
                 ("verification by reading back", "operation-does-nothing@2", ("--verify", "readback"), "differ")]
        image = self.elf("image", (0, pattern(300)))
        for name, fault, options, words in cases:
            with self.subTest(name):
                text = self.gdb(self.faulty(fault, *options), f"source {SCRIPT}", "lumo-load",
                                "echo --next--\\n", "load", "compare-sections", file=image)
                first, second = text.split("--next--\n")
                self.assertIn(words, text)  # GDB writes them to standard error
                self.assertIn("Error finishing flash operation", first)
                self.assertIn("Nothing was loaded, or not all of it", text)
                self.assertIn("matched.", second)
                self.assertNotIn("MIS-MATCHED", second)

    def test_a_failed_load_is_the_exit_code(self):
        image = self.elf("image", (0, pattern(300)))
        self.gdb(self.faulty("operation-fails@1"), "load", file=image, code=1)
        self.gdb(self.faulty("operation-fails@1"), f"source {SCRIPT}", "lumo-load", file=image, code=1)

    def test_the_script_lets_a_plain_load_say_why(self):
        image = self.elf("image", (0, pattern(300)))
        chip = self.faulty("operation-fails@1")
        text = self.gdb(chip, f"source {SCRIPT}", "load", file=image, code=1)
        self.assertEqual(text.count("Programming: erasing sector 0 failed"), 2, text)  # by the server, and the script
        result = subprocess.run(
            [GDB, "-nx", "-q", str(image)], capture_output=True, cwd=self.path, timeout=LIMIT, text=True,
            input=f"set confirm off\nsource {SCRIPT}\ntarget extended-remote {chip}\nload\nload\nquit\n")
        self.assertEqual(result.stderr.count("Programming: erasing sector 0 failed"), 2, result)
        self.assertNotIn("Nothing has failed", result.stdout + result.stderr)

    def test_a_load_that_would_lock_the_chip_is_refused_unless_agreed_to(self):
        area = bytearray(b"\xff" * 0x58)
        area[8:12] = bytes([1, 0, 0x58, 0])
        area[0x58 - 0x29] = 0
        image = self.elf("lock", (FLASH[self.part] - 0x58, bytes(area)))
        text = self.gdb(self.serve(before=()), f"source {SCRIPT}", "lumo-load", file=image, code=1)
        self.assertRegex(text, "(?i)debug")
        self.assertIn("Nothing was touched", text)
        self.assertIn("--yes", text)
        self.end_server()
        self.assertEqual(set(self.flash()), {0xFF})
        self.gdb(self.serve(before=("--yes",)), "load", file=image)

    def test_an_interrupted_load_changes_nothing_and_the_next_one_is_whole(self):
        sector = SECTOR[self.part]
        image = self.elf("image", (0, pattern(8 * sector)))
        address = self.serve()
        debugger = None

        def interrupt(data):
            if b"vFlashWrite" in data:
                debugger.send_signal(signal.SIGINT)
            return data

        relay = Relay(self, address, interrupt)
        debugger = subprocess.Popen(self.gdb_command(relay.address, "load", file=image), stdin=subprocess.DEVNULL,
                                    stdout=subprocess.PIPE, stderr=subprocess.STDOUT, cwd=self.path)
        text = debugger.communicate(timeout=LIMIT)[0].decode()
        self.assertNotIn("Transfer rate", text)
        self.assertIn("flash is as it was", self.log())
        text = self.gdb(address, "load", "compare-sections", file=image)
        self.assertNotIn("MIS-MATCHED", text)
        self.end_server()
        self.assertEqual(self.flash()[:8 * sector], pattern(8 * sector))

    def test_an_interrupt_while_flash_is_programmed_fails_the_load_in_words(self):
        image = self.elf("image", (0, pattern(8 * SECTOR[self.part])))
        address = self.serve()

        def interrupt(data):
            return data + b"\x03" if b"vFlashDone" in data else data

        text = self.gdb(Relay(self, address, interrupt).address, "load", "monitor why", file=image)
        self.assertIn("nterrupted", text)
        text = self.gdb(address, "load", "compare-sections", file=image)
        self.assertNotIn("MIS-MATCHED", text)


if __name__ == "__main__":
    unittest.main()
