# The tests of cmake/DiscoverSuites.cmake: which tests CTest finds for a program, played by a script.
import os
import subprocess
import tempfile
import unittest
from pathlib import Path

SCRIPT = Path(__file__).resolve().parents[3] / "cmake/DiscoverSuites.cmake"
LISTED = """Running main() from main.cc
Loads.
  Plain
  Full
Sizes/0.  # TypeParam = int
  AreSmall
All/Words.
  AreTold/One  # GetParam() = One.Two.
"""


class Suites(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)
        self.program = self.folder / "program"
        (self.folder / "CTestTestfile.cmake").write_text(
            f'set(name X)\nset(program {self.program})\nset(list {self.folder}/list.txt)\n'
            f'set(properties TIMEOUT 60)\ninclude({SCRIPT})\n')

    def write_program(self, listed, rest="exit 0"):
        """A program that lists its tests so, and does the rest when it is run."""
        (self.folder / "listed.txt").write_text(listed)
        self.program.write_text(f'#!/bin/sh\n[ "$1" = --gtest_list_tests ] && exec cat {self.folder}/listed.txt\n{rest}\n')
        self.program.chmod(0o755)
        os.utime(self.program, (1e9, 1e9))

    def ctest(self, *arguments):
        return subprocess.run(["ctest", "--test-dir", self.folder, *arguments], capture_output=True, text=True)

    def found(self):
        run = self.ctest("-N")
        return [line.partition(": ")[2] for line in run.stdout.splitlines() if "Test #" in line]

    def test_each_suite_is_a_test(self):
        self.write_program(LISTED)
        self.assertEqual(self.found(), ["X.Loads", "X.Sizes/0", "X.All/Words"])
        self.assertEqual(self.found(), ["X.Loads", "X.Sizes/0", "X.All/Words"])  # from what was kept

    def test_a_test_runs_its_suite_alone(self):
        self.write_program(LISTED, f'echo "$@" >> {self.folder}/ran.txt')
        self.assertEqual(self.ctest("-j1").returncode, 0)
        self.assertEqual((self.folder / "ran.txt").read_text().split(),
                         ["--gtest_filter=Loads.*", "--gtest_filter=Sizes/0.*", "--gtest_filter=All/Words.*"])

    def test_a_test_fails_with_its_suite(self):
        self.write_program(LISTED, '[ "$1" != "--gtest_filter=Sizes/0.*" ]')
        self.assertIn("67% tests passed, 1 tests failed out of 3", self.ctest().stdout)

    def test_a_program_built_again_is_asked_again(self):
        self.write_program(LISTED)
        self.found()
        os.utime(self.folder / "list.txt", (1e9 - 10, 1e9 - 10))
        self.write_program("More.\n  One\n")
        self.assertEqual(self.found(), ["X.More"])

    def test_a_program_that_is_missing_fails(self):
        self.assertEqual(self.found(), ["X_NOT_BUILT"])
        self.assertNotEqual(self.ctest().returncode, 0)

    def test_a_program_that_lists_nothing_or_breaks_off_fails(self):
        for listed, end in (("", "exit 0"), ("Running main() from main.cc\n", "exit 0"), (LISTED, "exit 1")):
            with self.subTest((listed, end)):
                self.write_program(listed)
                self.program.write_text(self.program.read_text().replace("exec cat", "cat").replace(
                    "listed.txt\n", f"listed.txt && {end}\n"))
                self.assertEqual(self.found(), ["X_LISTS_NOTHING"])
                self.assertNotEqual(self.ctest().returncode, 0)


if __name__ == "__main__":
    unittest.main()
