"""The manual: a page for the program and one for each command, without a complaint from who reads such pages."""
import os
import subprocess
import unittest
from pathlib import Path

PAGES = Path(os.environ["MANUAL"])


class Manual(unittest.TestCase):
    def test_every_page_is_without_a_complaint(self):
        pages = sorted(PAGES.glob("*.1"))
        self.assertGreaterEqual(len(pages), 15)
        lint = subprocess.run(["mandoc", "-T", "lint", *pages], capture_output=True, text=True)
        self.assertEqual((lint.stdout + lint.stderr, lint.returncode), ("", 0))

    def test_a_page_has_the_command_its_options_and_its_words(self):
        shown = subprocess.run(["mandoc", "-T", "ascii", PAGES / "lumoflash-program.1"], capture_output=True, text=True, check=True)
        plain = subprocess.run(["col", "-b"], input=shown.stdout, capture_output=True, text=True, check=True).stdout
        for text in ("lumoflash program [option ...] FILE ...", "--verify crc|readback|none", "Without it: crc.",
                     "--device, -d PART", "LUMOFLASH_DEVICE", "lumoflash --device LumoF2F352"):
            self.assertIn(text, plain)


unittest.main()
