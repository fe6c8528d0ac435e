"""The manual: a page for the program and one for each command, without a complaint from who reads such pages."""
import os
import subprocess
import tempfile
import unittest
from pathlib import Path

PAGES = Path(os.environ["MANUAL"])
WIDTH = 80


def complaints(pages):
    lint = subprocess.run(["mandoc", "-T", "lint", *pages], capture_output=True, text=True)
    return lint.stdout + lint.stderr


def shown(page):
    drawn = subprocess.run(["mandoc", "-T", "ascii", "-O", f"width={WIDTH}", page], capture_output=True, text=True, check=True)
    return subprocess.run(["col", "-bx"], input=drawn.stdout, capture_output=True, text=True, check=True).stdout


class Manual(unittest.TestCase):
    def setUp(self):
        self.pages = sorted(PAGES.glob("*.1"))
        self.assertGreaterEqual(len(self.pages), 15)

    def test_every_page_is_without_a_complaint(self):
        self.assertEqual(complaints(self.pages), "")

    def test_a_page_that_is_wrong_gets_a_complaint(self):
        with tempfile.TemporaryDirectory() as folder:
            for name, right, wrong in [("no title", ".TH ", ".\\\" "), ("a macro that is none", ".TP\n", ".TQP\n"),
                                       ("a font that is none", "\\fR", "\\fX"), ("a blank at the end", "OPTIONS\n", "OPTIONS \n")]:
                with self.subTest(planted=name):
                    page = Path(folder) / "planted.1"
                    text = (PAGES / "lumoflash-program.1").read_text()
                    self.assertIn(right, text)
                    page.write_text(text.replace(right, wrong))
                    self.assertNotEqual(complaints([page]), "")

    def test_no_line_is_wider_than_a_terminal(self):
        for page in self.pages:
            with self.subTest(page=page.name):
                self.assertEqual([line for line in shown(page).splitlines() if len(line) > WIDTH], [])

    def test_a_page_has_the_command_its_options_and_its_words(self):
        words = " ".join(shown(PAGES / "lumoflash-program.1").split())
        for text in ("lumoflash program [option ...] FILE ...", "--verify crc|readback|none crc, readback or none. Without it: crc.",
                     "--device, -d PART", "LUMOFLASH_DEVICE", "EXIT STATUS 0 done 1 operation failed", "130 interrupted",
                     "lumoflash --device LumoF2F352 --probe virtual:chip.bin program \\ app.elf --verify readback"):
            self.assertIn(text, words)


unittest.main()
