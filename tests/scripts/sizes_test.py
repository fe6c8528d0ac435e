"""A product file has at most 300 lines, a function at most 45: what is longer is read by nobody as a whole."""
import re
import sys
import unittest
from pathlib import Path

ROOT = Path(sys.argv.pop(1))
FOLDERS = ("apps", "chip", "firmware", "flashdevice", "host", "validator")
MOST_LINES, MOST_LINES_OF_A_FUNCTION = 300, 45
LONGER = {"firmware/commands.c": 320}  # all commands, which share how a chunk is judged
# By its form: what opens a body ends with what may follow a list of parameters, and the body's end is as far in as its head,
# which may have begun on a line above.
OPENS = re.compile(r".*\)(?: const| noexcept| override)*(?: : .*)? \{$")
IS_NO_FUNCTION = re.compile(r" *(?:if|for|while|switch|do|catch|\} )\b| *\}")


def indent(line):
    return len(line) - len(line.lstrip())


def functions(text):
    """Pairs of first line and number of lines."""
    lines = text.splitlines()
    for first, line in enumerate(lines[:-1]):
        if OPENS.match(line) and lines[first + 1].strip():
            head = first
            while head > 0 and indent(lines[head]) >= indent(lines[first + 1]):
                head -= 1
            end = next(i for i in range(first + 1, len(lines)) if lines[i] and indent(lines[i]) <= indent(lines[head]))
            if not IS_NO_FUNCTION.match(lines[head]):
                yield head + 1, end - head + 1


class Sizes(unittest.TestCase):
    def setUp(self):
        self.files = {p.relative_to(ROOT).as_posix(): p.read_text() for folder in FOLDERS
                      for p in sorted((ROOT / folder).rglob("*.*")) if p.suffix in (".h", ".c", ".cpp")}

    def test_no_file_is_too_long(self):
        self.assertGreater(len(self.files), 200)
        found = [(name, len(text.splitlines())) for name, text in self.files.items()]
        self.assertEqual([(n, lines) for n, lines in found if lines > LONGER.get(n, MOST_LINES)], [])

    def test_no_function_is_too_long(self):
        found = [(name, line, length) for name, text in self.files.items() for line, length in functions(text)]
        self.assertGreater(len(found), 1000)
        self.assertEqual([f for f in found if f[2] > MOST_LINES_OF_A_FUNCTION], [])

    def test_a_long_function_is_found_and_a_long_condition_is_none(self):
        body = "    Call();\n" * 44
        self.assertEqual(list(functions(f"int F(int a) {{\n{body}}}\n")), [(1, 46)])
        inside = "        Call();\n" * 44
        self.assertEqual(list(functions(f"class C {{\n    int F() const {{\n{inside}    }}\n}};\n")), [(2, 46)])
        self.assertEqual(list(functions(f"int F(int a,\n      int b) {{\n{body}}}\n")), [(1, 47)])
        self.assertEqual(list(functions(f"if (a &&\n    b(c)) {{\n{body}}}\n")), [])


if __name__ == "__main__":
    unittest.main()
