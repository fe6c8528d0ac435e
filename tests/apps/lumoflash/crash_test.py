"""A program that is killed, or whose calls fail, while it saves a chip."""
import os
import signal
import subprocess
import unittest

from lumoflash import PROGRAM, Case

COUNTED_CALLS = os.environ["COUNTED_CALLS"]
WRITE = ["mac", "write", "ble", "C2:00:00:00:00:01"]


class Crash(Case):
    def setUp(self):
        super().setUp()
        self.run_chip("mac", "write", "ble", "C2:00:00:00:00:09")
        self.old = self.chip.read_bytes()
        self.run_chip(*WRITE)
        self.written = self.chip.read_bytes()
        self.chip.unlink()
        self.run_chip(*WRITE)
        self.written_anew = self.chip.read_bytes()

    def probe(self):
        return f"virtual:{self.chip},identity=02:00:00:00:00:00:00:01"  # so that a new chip is the same each time

    def each_call(self, variable):
        """Runs the command with each of its calls cut, for a new and for an existing file, until none is left to be cut."""
        for before, after in ((None, self.written_anew), (self.old, self.written)):
            count = 0
            while True:
                count += 1
                for path in self.path.iterdir():
                    path.unlink()
                if before is not None:
                    self.chip.write_bytes(before)
                result = subprocess.run([PROGRAM, "--device", self.device, "--probe", self.probe(), *WRITE], timeout=120,
                                        capture_output=True, cwd=self.path,
                                        env={**os.environ, "LD_PRELOAD": COUNTED_CALLS, variable: str(count)})
                content = self.chip.read_bytes() if self.chip.exists() else None
                with self.subTest(count=count, existed=before is not None):
                    self.assertIn(content, (before, after), "the chip is neither the old one nor the new one, whole")
                    yield result, content == after
                if result.returncode == 0 and b" is cut\n" not in result.stderr:
                    break
            self.assertGreaterEqual(count, 5)

    def names(self):
        return sorted(path.name for path in self.path.iterdir())

    def test_killed_at_any_call_it_leaves_the_old_or_the_new_chip_and_the_next_run_works(self):
        seen = set()
        for result, is_new in self.each_call("KILL_AT"):
            self.assertIn(result.returncode, (0, -signal.SIGKILL), result.stderr)
            state = (is_new, len(self.names()), self.chip.exists())
            if state not in seen:
                seen.add(state)
                self.run_chip("mac", "write", "ble", "C2:00:00:00:00:02")
                self.assertIn("C2:00:00:00:00:02", self.run_chip("mac", "read", "sec-ble")[0].decode())
                self.assertEqual(self.names(), ["chip.bin"])
        self.assertGreaterEqual(len(seen), 4)

    def test_a_call_that_fails_is_told_and_leaves_nothing_behind(self):
        failures = 0
        for result, is_new in self.each_call("FAIL_AT"):
            self.assertIn(result.returncode, (0, 1), result.stderr)
            self.assertTrue(is_new or result.returncode == 1)
            self.assertIn(self.names(), ([], ["chip.bin"]))
            if result.returncode == 1:
                failures += 1
                self.assertIn(b"chip.bin: the file cannot be written: Input/output error", result.stderr)
        self.assertGreaterEqual(failures, 6)

    def test_a_file_that_may_not_grow_is_told(self):
        result = subprocess.run(["sh", "-c", 'ulimit -f 1 && exec "$@"', "sh", PROGRAM, "--device", self.device, "--probe",
                                 "virtual:other.bin", *WRITE], capture_output=True, cwd=self.path, timeout=120)
        self.assertEqual(result.returncode, 1, result.stderr)
        self.assertIn(b"other.bin: the file cannot be written: File too large", result.stderr)
        self.assertEqual(self.names(), ["chip.bin"])


if __name__ == "__main__":
    unittest.main()
