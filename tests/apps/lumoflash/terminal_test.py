"""A person at a terminal: progress, colors, questions."""
import os
import pty
import signal
import subprocess
import unittest

from lumoflash import PROGRAM, Case, pattern


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
        for expected in ("load ", "program  [", "[####################] 100 %", "verify   [", "KiB/s", " s left", "\x1b[32mprogrammed and verified by reading back"):
            self.assertIn(expected, shown)
        self.assertEqual(shown.count("programmed "), 1)

    def test_no_escape_sequences_where_they_are_not_wanted(self):
        self.new_chip()
        for arguments, environment in ((["--no-color"], {}), ([], {"NO_COLOR": "1"}), ([], {"TERM": "dumb"})):
            with self.subTest(arguments=arguments, environment=environment):
                code, shown = self.on_terminal(*arguments, "verify", self.file("a.bin", b"\0"), "--base", "0", environment=environment)
                self.assertEqual(code, 3)
                self.assertNotIn("\x1b", shown)
                self.assertIn("verify   [", shown)

    def test_an_erase_has_no_speed(self):
        code, shown = self.on_terminal("erase")
        self.assertEqual(code, 0)
        self.assertIn("\rerase\x1b[K\r\n", shown)
        self.assertNotIn(" 0.0 KiB/s", shown)

    def test_an_answer_decides_about_dangerous_steps(self):
        code, shown = self.on_terminal("ccfg", "--protect", "3", answer="no")
        self.assertEqual(code, 2)
        self.assertIn("Page 3 will be write-protected", shown)
        code, shown = self.on_terminal("-q", "ccfg", "--protect", "3", answer="yes")
        self.assertEqual(code, 0)
        self.assertIn("Page 3 will be write-protected", shown)  # whoever is asked is told
        self.assertIn("page 3", self.run_chip("ccfg")[0].decode())

    def test_an_answer_decides_about_a_dangerous_load(self):
        program = ["program", self.file("a.bin", pattern(16)), "--base", "0", "--protect", "3"]
        code, shown = self.on_terminal(*program, answer="no")
        self.assertEqual((code, self.chip.exists()), (2, False))
        self.assertIn("Page 3 will be write-protected", shown)
        code, shown = self.on_terminal(*program, answer="yes")
        self.assertEqual(code, 0)
        self.assertIn("programmed and verified by CRC", shown)
        self.assertIn("page 3", self.run_chip("ccfg")[0].decode())

    def test_ctrl_c_is_an_answer_too(self):
        code, shown = self.on_terminal("ccfg", "--protect", "3", answer=signal.SIGINT)
        self.assertEqual(code, 130)
        self.assertIn("Interrupted; nothing was touched", shown)
        self.assertFalse(self.chip.exists())


if __name__ == "__main__":
    unittest.main()
