# The tests of if_changed.py: a command that runs again only when something that it reads has changed, or when it failed.
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

TOOL = Path(__file__).parent / "if_changed.py"


class IfChanged(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)
        (self.folder / "read/below").mkdir(parents=True)
        (self.folder / "read/below/a").write_text("1")
        (self.folder / "code").write_text("0")

    def runs(self, *more):
        """Whether the command was run, and its exit code. It writes a line for each time, and ends with what `code` says."""
        log = self.folder / "log"
        before = log.read_text() if log.exists() else ""
        command = ["sh", "-c", f"echo run >>{log}; exit $(cat {self.folder / 'code'})", *more]
        run = subprocess.run([sys.executable, "-B", TOOL, self.folder / "note", self.folder / "read", "sh", "--", *command],
                             capture_output=True, text=True)
        return (log.read_text() if log.exists() else "") != before, run.returncode

    def test_a_command_that_passed_is_not_run_again(self):
        self.assertEqual([self.runs(), self.runs()], [(True, 0), (False, 0)])

    def test_a_change_of_what_it_reads_or_of_itself_runs_it_again(self):
        for change in (lambda: (self.folder / "read/below/a").write_text("2"),
                       lambda: (self.folder / "read/b").write_text(""),
                       lambda: (self.folder / "read/b").unlink()):
            self.runs()
            change()
            self.assertEqual(self.runs(), (True, 0))
        self.assertEqual(self.runs("another argument"), (True, 0))

    def test_a_failure_is_never_remembered(self):
        self.runs()
        (self.folder / "read/below/a").write_text("2")
        (self.folder / "code").write_text("3")
        self.assertEqual([self.runs(), self.runs()], [(True, 3), (True, 3)])
        (self.folder / "read/below/a").write_text("1")
        self.assertEqual(self.runs(), (True, 3), "of the first pass nothing is left")

    def test_what_is_not_there_is_refused(self):
        run = subprocess.run([sys.executable, "-B", TOOL, self.folder / "note", "no-such-thing", "--", "true"], capture_output=True,
                             text=True)
        self.assertEqual((run.returncode, run.stderr), (1, "if_changed: there is no no-such-thing\n"))


if __name__ == "__main__":
    unittest.main()
