"""The files that a command reads and writes: one part each, and links stay."""
import json
import unittest
from pathlib import Path

from lumoflash import SOURCE, Case, pattern


class Places(Case):
    def require_refused(self, cases):
        """Each ends with the text, and no file is another one afterwards."""
        def files():
            return {path: path.read_bytes() for path in self.path.rglob("*") if path.is_file()}
        before = files()
        for arguments, expected in cases:
            with self.subTest(arguments=arguments):
                self.assertIn(expected + " name the same file", self.run_chip(*arguments, code=2)[1])
                self.assertEqual(files(), before)

    def test_a_file_has_one_part_in_a_command(self):
        image = self.file("a.bin", pattern(100))
        self.run_chip("program", image, "--base", "0")
        (self.path / "link").symlink_to("chip.bin")
        config, plugin = self.file("a.toml", ""), self.file("a.so", "a module")
        self.require_refused([
            (["read", "--out", "chip.bin"], "--out and --probe"),
            (["read", "--out", "./link"], "--out and --probe"),
            (["--trace", "chip.bin", "info"], "--trace and --probe"),
            (["--trace", "new", "read", "--out", "./new"], "--out and --trace"),
            (["--trace", image, "program", image, "--base", "0"], "--trace and FILE"),
            (["--config", config, "read", "--out", config], "--out and --config"),
            (["--plugin", plugin, "read", "--out", plugin], "--out and --plugin"),
            (["program", "link", "--base", "0", "--format", "bin"], "--probe and FILE"),
            (["--plugin", "link", "erase"], "--probe and --plugin"),
        ])
        self.run_chip("--trace", "/dev/null", "read", "--out", "/dev/null")

    def test_the_report_of_a_refused_run_writes_over_nothing_that_the_run_reads(self):
        image, config = self.file("a.bin", pattern(100)), self.file("a.toml", "")
        (self.path / "link").hardlink_to(image)
        self.require_refused([
            (["program", f"{image}@0", "--report", image], "--report and FILE"),
            (["program", f"{image}@0", "--report", "link"], "--report and FILE"),
            (["--config", config, "program", f"{image}@0", "--report", config], "--report and --config"),
        ])

    def test_a_database_is_not_written_over(self):
        self.run_raw("pool", "create", "sqlite:line.db", "--ieee", "02:00:00:00:00:00:00:01-02:00:00:00:00:00:00:03")
        image = self.file("a.bin", pattern(100))
        program = ["program", f"{image}@0", "--report", "line.db"]
        self.require_refused([
            (["pool", "export", "sqlite:line.db", "--out", "line.db"], "--out and DB"),
            (["pool", "export", "sqlite:line.db", "--out", "line.db-wal"], "--out and DB"),
            (["line", "report", "sqlite:line.db", "--out", "./line.db"], "--out and DB"),
            ([*program, "--assign", "ieee", "--assign-from", "sqlite:line.db"], "--report and --assign-from"),
            ([*program, "--record", "sqlite:line.db"], "--report and --record"),
        ])

    def test_a_part_s_description_and_the_images_are_not_written_over(self):
        image = self.file("data/arm/a.elf", "an image")
        description = self.file("devices/a.xml", (SOURCE / "devices/lumod1f64.xml").read_bytes())
        self.require_refused([
            (["--devices", "devices", "--trace", description, "info"], "--trace and --devices"),
            (["--data", "data", "--trace", image, "info"], "--trace and --data"),
        ])

    def test_a_chip_behind_a_link_stays_there(self):
        self.chip.symlink_to("real.bin")
        self.run_chip("program", self.file("a.bin", pattern(100)), "--base", "0")
        self.run_chip("erase")
        self.assertTrue(self.chip.is_symlink())
        self.run_chip("blank-check")
        self.assertEqual(sorted(path.name for path in self.path.iterdir()), ["a.bin", "chip.bin", "real.bin"])

    def test_a_trace_or_state_that_cannot_be_written_fails_the_command(self):
        self.assertIn("/nowhere/t.json", self.run_chip("--trace", "/nowhere/t.json", "erase", code=1)[1])
        self.chip = self.path / "none" / "chip.bin"
        self.assertIn("chip.bin", self.run_chip("erase", code=1)[1])

    def test_a_load_whose_note_cannot_be_kept_says_so_and_goes_on(self):
        state = {"XDG_STATE_HOME": self.file("state", "a file in the place of the folder")}
        _, err = self.run_chip("program", self.file("a.bin", pattern(100)), "--base", "0", environment=state)
        self.assertIn("warning: Should this load fail, the next one will not know of it; let it write all: ", err)
        self.assertIn("state/lumo-flash/loads: Not a directory", err)

    def test_every_failure_is_told_and_by_itself_reads_well(self):
        self.new_chip()
        _, err = self.run_chip("--trace", "/nowhere/t.json", "info", code=1)
        self.assertEqual(err, "error: /nowhere/t.json: the file cannot be written: No such file or directory\n  Before that: identified\n")
        self.chip = self.path / "none" / "chip.bin"
        _, err = self.run_chip("--trace", "/nowhere/t.json", "--set", "DeviceFlashloaderFile=missing.elf",
                               "erase", code=1)
        for expected in ("missing.elf", "\n  Besides: ", "chip.bin: the file cannot be written",
                         "/nowhere/t.json: the file cannot be written"):
            self.assertIn(expected, err)

    def test_the_same_command_gives_the_same_trace(self):
        image = self.file("a.bin", pattern(5000))
        for name in ("1.json", "2.json"):
            self.chip.unlink(missing_ok=True)
            self.run_chip("--trace", name, "program", image, "--base", "0")
        first = (self.path / "1.json").read_bytes()
        self.assertEqual(first, (self.path / "2.json").read_bytes())
        self.assertGreater(len(json.loads(first)["traceEvents"]), 100)


if __name__ == "__main__":
    unittest.main()
