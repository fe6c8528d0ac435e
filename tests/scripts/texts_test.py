"""No text of the host library names an option or the program: what a user calls things is the command line's business."""
import re
import sys
import unittest
from pathlib import Path

HOST = Path(sys.argv.pop(1)) / "host"
TEXT = re.compile(r'"(?:[^"\\\n]|\\.)*"')
OPTION_OR_PROGRAM = re.compile(r"(?<![\w-])--[a-z]|\blumoflash\b")


def texts(source):
    for line in source.splitlines():
        if not line.lstrip().startswith(("//", "#include")):
            yield from TEXT.findall(line)


class Texts(unittest.TestCase):
    def test_no_text_of_the_host_names_an_option_or_the_program(self):
        files = sorted([*HOST.rglob("*.cpp"), *HOST.rglob("*.h")])
        self.assertGreater(len(files), 50)
        named = [(file.name, text) for file in files for text in texts(file.read_text()) if OPTION_OR_PROGRAM.search(text)]
        self.assertEqual(named, [])

    def test_an_option_in_a_text_is_found_and_one_in_a_comment_is_not(self):
        found = [bool(OPTION_OR_PROGRAM.search(text)) for text in texts('a("give --base");\n// "--base"\nb("see lumoflash info", "a - b")')]
        self.assertEqual(found, [True, True, False])


if __name__ == "__main__":
    unittest.main()
