# The tests of check_includes.py: a tiny project with a table that it keeps, and each way to break it.
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

TOOL = Path(__file__).parent / "check_includes.py"
TABLE = """# Design

| another | table |
|---|---|
| `roof` | of no concern |

| folder | holds | may include |
|---|---|---|
| `roof` | what | `hall/upper`, `hall` |
| `hall/upper` | what | `hall` |
| `hall` | what | |

Text behind.
"""
FILES = {
    "roof/main.cpp": '#include <vector>\n#include "hall/Floor.h"\n#  include "hall/upper/Stairs.h"\n#include "roof/Own.h"\n',
    "roof/Own.h": '#include "Beside.h"\n',
    "roof/Beside.h": "",
    "hall/upper/Stairs.h": '#include "hall/Floor.h"\n',
    "hall/Floor.h": "",
    "hall/floor.c": '#include "hall/Floor.h"\n',
    "tests/AnyTest.cpp": '#include "roof/Own.h"\n#include "nowhere/At.h"\n',
    "build/made.cpp": '#include "nowhere/At.h"\n',
}


class Includes(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.root = Path(folder.name)
        self.write("docs/design.md", TABLE)
        for path, text in FILES.items():
            self.write(path, text)

    def write(self, path, text):
        (self.root / path).parent.mkdir(parents=True, exist_ok=True)
        (self.root / path).write_text(text)

    def write_table(self, old, new):
        self.assertEqual(TABLE.count(old), 1)
        self.write("docs/design.md", TABLE.replace(old, new))

    def expect(self, *complaints):
        run = subprocess.run([sys.executable, "-B", TOOL, self.root], capture_output=True, text=True)
        self.assertEqual(run.stdout.splitlines()[:-1], list(complaints))
        self.assertEqual(run.returncode, 1 if complaints else 0)

    def expect_refused(self, reason):
        run = subprocess.run([sys.executable, "-B", TOOL, self.root], capture_output=True, text=True)
        self.assertIn(reason, run.stderr)
        self.assertEqual(run.returncode, 1)

    def test_project_that_keeps_its_table_passes(self):
        self.expect()

    def test_include_upwards_fails(self):
        self.write("hall/Wrong.h", '#include "roof/Own.h"\n')
        self.expect("hall/Wrong.h includes roof/Own.h: hall may not include roof")

    def test_include_of_a_folder_below_that_the_row_does_not_name_fails(self):
        self.write_table("| `hall/upper`, `hall` |", "| `hall/upper` |")
        self.expect("roof/main.cpp includes hall/Floor.h: roof may not include hall")

    def test_include_of_a_folder_inside_fails_like_any_other(self):
        self.write("hall/wrong.c", '#include "hall/upper/Stairs.h"\n')
        self.expect("hall/wrong.c includes hall/upper/Stairs.h: hall may not include hall/upper")

    def test_include_of_a_test_fails(self):
        self.write("tests/Fake.h", "")
        self.write("hall/Wrong.h", '#include "tests/Fake.h"\n')
        self.expect("hall/Wrong.h includes tests/Fake.h: hall may not include tests")

    def test_include_that_is_not_counted_from_the_top_folder_fails(self):
        self.write("roof/Wrong.h", '#include "../hall/Floor.h"\n#include "upper/Stairs.h"\n')
        self.expect('roof/Wrong.h includes "../hall/Floor.h", which is no file, counted from the top folder',
                    'roof/Wrong.h includes "upper/Stairs.h", which is no file, counted from the top folder')

    def test_folder_that_the_table_does_not_know_fails(self):
        self.write("cellar/Wine.cpp", "")
        self.expect("cellar has sources, and no row")

    def test_row_without_a_folder_fails(self):
        (self.root / "roof/main.cpp").unlink()
        (self.root / "hall/upper/Stairs.h").unlink()
        self.expect("hall/upper has a row, and no sources")

    def test_row_that_names_a_folder_without_a_row_fails(self):
        self.write_table("| `hall` | what | |", "| `hall` | what | `cellar` |")
        self.expect("the row of hall names cellar, which has no row")

    def test_row_that_names_what_stands_above_it_or_itself_fails(self):
        self.write_table("| `hall` | what | |", "| `hall` | what | `roof`, `hall` |")
        self.expect("the row of hall names roof, which does not stand below it",
                    "the row of hall names hall, which does not stand below it")

    def test_page_without_the_table_is_refused(self):
        self.write_table("| folder | holds | may include |", "| folder | holds |")
        self.expect_refused("no table with the heading folder | holds | may include")

    def test_row_of_another_form_is_refused(self):
        self.write_table("| `hall` | what | |", "| hall | what | |")
        self.expect_refused("a row is a folder in backquotes")

    def test_second_row_for_a_folder_is_refused(self):
        self.write_table("| `hall` | what | |", "| `hall` | what | |\n| `hall` | what | |")
        self.expect_refused("two rows for `hall`")


if __name__ == "__main__":
    unittest.main()
