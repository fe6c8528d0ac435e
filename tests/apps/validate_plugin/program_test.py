"""The program validate-plugin, on Linux and under Wine: its pages, levels, codes and completion.

CTest gives the program (after what starts it, when something must), the plug-in and folder of the broken modules.
"""
import json
import os
import shutil
import subprocess
import tempfile
import unittest
import xml.etree.ElementTree
from pathlib import Path

PROGRAM = os.environ["VALIDATE_PLUGIN"].split(";")
PLUGIN = os.environ["PLUGIN"]
BROKEN = Path(os.environ["BROKEN_MODULE"])
TWO = ("--check", "crc-value", "--check", "data-types-are-unsupported")


class ValidatePluginProgram(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)

    def run_program(self, *arguments, code=0):
        done = subprocess.run([*PROGRAM, *map(str, arguments)], capture_output=True, text=True, timeout=300)
        self.assertEqual(done.returncode, code, done.stdout + done.stderr)
        return done.stdout.replace("\r\n", "\n"), done.stderr.replace("\r\n", "\n")

    def broken(self, bug):
        return Path(shutil.copy(BROKEN, self.folder / (bug + BROKEN.suffix)))

    def test_what_passes_is_told_in_three_forms(self):
        out, err = self.run_program(PLUGIN, *TWO)
        self.assertEqual(out.count("  passed  "), 2)
        self.assertEqual(err, "2 of 2 checks passed\n")
        page = json.loads(self.run_program(PLUGIN, *TWO, "--format", "json")[0])
        self.assertEqual([check["name"] for check in page["checks"]], ["crc-value", "data-types-are-unsupported"])
        self.assertEqual((page["passed"], page["broken"], page["notReached"]), (2, 0, 0))
        suite = xml.etree.ElementTree.fromstring(self.run_program(PLUGIN, *TWO, "--format=junit")[0]).find("testsuite")
        self.assertEqual((suite.get("tests"), suite.get("failures"), suite.get("skipped")), ("2", "0", "0"))
        self.assertEqual([case.get("name") for case in suite], ["crc-value", "data-types-are-unsupported"])

    def test_a_broken_promise_is_told_with_what_was_expected_and_found(self):
        file = self.folder / "page.xml"
        out, err = self.run_program(self.broken("crc-value"), *TWO, "--format", "junit", "--out", file, code=1)
        self.assertIn("  failed  crc-value", out)
        self.assertEqual(err, "error: 1 of 2 checks passed\n")
        case = xml.etree.ElementTree.parse(file).find("testsuite/testcase")
        self.assertEqual((case.get("classname"), case.get("name")), ("crc", "crc-value"))
        self.assertIn("expected: CRC of the digits 1 to 9: 3421780262 (0xCBF43926)", case.find("failure").text)
        self.assertEqual([path.name for path in self.folder.iterdir() if "page" in path.name], ["page.xml"])

    def test_a_crash_and_a_hang_are_results(self):
        out, _ = self.run_program(self.broken("crashes"), "--check", "data-types-are-unsupported", code=1)
        self.assertIn("  crashed  data-types-are-unsupported", out)
        out, _ = self.run_program(self.broken("never-comes-back"), "--check", "erase-is-one-command", "--time-limit", "1", code=1)
        self.assertIn("  hung  erase-is-one-command", out)
        self.assertIn("found:    nothing after 1 second of computing", out)

    def test_what_cannot_be_loaded_fails_one_check_and_skips_the_others(self):
        out, err = self.run_program(self.folder / "none.so", "--level", "loads", "--format", "junit", code=4)
        self.assertIn("cannot be loaded: ", err)
        cases = xml.etree.ElementTree.fromstring(out).findall("testsuite/testcase")
        self.assertEqual(cases[0].get("name"), "can-be-loaded")
        self.assertIsNotNone(cases[0].find("failure"))
        self.assertTrue(all(case.find("skipped") is not None for case in cases[1:]))
        self.assertGreater(len(cases), 5)

    def test_levels_go_from_the_file_to_everything(self):
        counts = []
        for level in "loads", "starts", "programs", "everything":
            out, _ = self.run_program("--list", "--level", level)
            counts.append(len(out.splitlines()))
        self.assertEqual(counts, sorted(set(counts)))
        self.assertEqual(len(self.run_program("--list")[0].splitlines()), counts[-1])
        self.assertIn("exports-only-the-factory (loading): ", out)
        out, err = self.run_program(PLUGIN, "--level", "loads")
        self.assertRegex(err, rf"^({counts[0]} of {counts[0]} checks passed|{counts[0] - 1} of {counts[0] - 1} checks passed; 1 not reached)\n$")

    def test_a_wrong_use_is_told(self):
        for arguments, complaint in ((), "which plug-in?"), ((PLUGIN, PLUGIN), "a second one"), \
                ((PLUGIN, "--level", "all"), "none of loads|starts|programs|everything"), \
                ((PLUGIN, "--format", "yaml"), "none of text|json|junit"), ((PLUGIN, "--check", "crc"), 'no check is named "crc"'), \
                ((PLUGIN, "--time-limit", "0"), "no number from 1 to 3600"), ((PLUGIN, "--quick"), "no option --quick"), \
                ((PLUGIN, "--out"), "needs a value"), (("--list", PLUGIN), "needs no plug-in"), (("--list=1",), "takes no value"), \
                ((PLUGIN, "--level", "loads", "--check", "crc-value"), "exclude each other"):
            with self.subTest(arguments):
                out, err = self.run_program(*arguments, code=2)
                self.assertEqual(out, "")
                self.assertTrue(err.startswith("error: "), err)
                self.assertIn(complaint, err)

    def test_a_page_that_cannot_be_written_is_a_failure(self):
        _, err = self.run_program(PLUGIN, "--check", "crc-value", "--out", self.folder / "none" / "page.txt", code=1)
        self.assertIn("cannot be written", err)

    def test_the_help_has_each_option_level_and_code(self):
        out, _ = self.run_program("--help")
        for text in "--level", "--format", "--out", "--list", "\n  starts ", "\n  4    the plug-in cannot be loaded\n":
            self.assertIn(text, out)
        self.assertRegex(self.run_program("--version")[0], r"^validate-plugin \d+\.\d+\.\d+\n$")

    def test_a_shell_is_told_what_may_stand_next(self):
        self.assertEqual(self.run_program("__complete", "--fo")[0].splitlines()[1].split("\t")[0], "--format")
        self.assertEqual([line.split("\t")[0] for line in self.run_program("__complete", "--level", "")[0].splitlines()[1:]],
                         ["loads", "starts", "programs", "everything"])
        self.assertEqual(self.run_program("__complete", "--format=j")[0], "none\t\t\n--format=json\t\n--format=junit\t\n")
        self.assertEqual(self.run_program("__complete", "./lib")[0], "files\t\tso dll\n")
        self.assertEqual(self.run_program("__complete", "--check", "crc-v")[0].split("\t")[2].strip(), "crc-value")


if __name__ == "__main__":
    unittest.main()
