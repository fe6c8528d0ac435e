"""`lumoflash info`: connecting, and what stands in its way."""
import fcntl
import unittest

from lumoflash import NO_PLUGIN, Case, pattern


class Info(Case):
    def test_what_is_no_plugin_ends_with_4(self):
        text = self.file("plugin.so", "text")
        for plugin, expected in [("/nowhere.so", "There is no plug-in"), (text, "Cannot load the plug-in"),
                                 (NO_PLUGIN, "does not export CreateFlashDevice2")]:
            self.assertIn(expected, self.run_chip("--plugin", plugin, "info", code=4)[1])

    def test_a_file_that_is_no_chip_or_another_ends_with_4_and_stays_as_it_is(self):
        self.chip.write_bytes(b"no chip")
        self.assertIn("virtual chip", self.run_chip("info", code=4)[1])
        self.assertEqual(self.chip.read_bytes(), b"no chip")
        self.chip.unlink()
        self.new_chip()
        before = self.chip.read_bytes()
        self.device = "LumoF2F352"
        self.assertIn("--device", self.run_chip("info", code=4)[1])
        self.assertEqual(self.chip.read_bytes(), before)

    def test_a_chip_file_that_cannot_be_opened_ends_with_4(self):
        (self.path / "loop").symlink_to("loop")
        for name, expected in [("loop", "Too many levels of symbolic links"), ("x" * 300, "File name too long")]:
            self.chip = self.path / name
            for command in ("info", "erase"):
                _, err = self.run_chip(command, code=4)
                self.assertIn(f"Cannot open the virtual chip in {self.chip}: {expected}", err)

    def test_what_only_looks_makes_no_chip(self):
        image = self.file("a.bin", pattern(16))
        for command in (["info"], ["verify", image, "--base", "0"], ["read", "--out", "x.bin"], ["blank-check"],
                        ["mac", "read"], ["ccfg"]):
            _, err = self.run_chip(*command, code=4)
            self.assertIn(f"There is no virtual chip in {self.chip}", err)
            self.assertEqual(self.events(*command, code=4)[-1]["exitCode"], 4)
        self.assertEqual([path.name for path in self.path.iterdir()], ["a.bin"])

    def test_what_only_looks_does_not_write_the_chip(self):
        self.new_chip()
        before = self.chip.stat()
        for command in (["info"], ["read", "--out", "x.bin"], ["blank-check"], ["mac", "read"], ["ccfg"]):
            self.run_chip(*command)
        self.assertEqual((self.chip.stat().st_ino, self.chip.stat().st_mtime_ns), (before.st_ino, before.st_mtime_ns))

    def test_a_read_only_chip_may_be_looked_at_and_is_not_changed(self):
        self.new_chip()
        self.chip.chmod(0o444)
        before = self.chip.read_bytes()
        self.run_chip("info")
        for command in (["program", self.file("a.bin", pattern(16)), "--base", "0"], ["erase"], ["ccfg", "--disable-bootloader"]):
            self.assertIn("the file is read-only", self.run_chip(*command, code=4)[1])
        self.assertEqual((self.chip.read_bytes(), self.chip.stat().st_mode & 0o777), (before, 0o444))

    def test_a_chip_in_use_ends_with_4_and_keeps_the_others_work(self):
        self.new_chip()
        with self.chip.open("rb") as file:
            fcntl.flock(file, fcntl.LOCK_EX)
            self.assertIn("in use by another program", self.run_chip("erase", code=4)[1])
        self.run_chip("erase")

    def test_a_missing_flashloader_is_named(self):
        _, err = self.run_chip("--set", "DeviceFlashloaderFile=missing.elf", "erase", code=1)
        self.assertIn("missing.elf", err)
        self.assertIn("Failed to write flashloader to device SRAM.", err)

    def test_a_chip_that_is_locked_is_unreachable(self):
        self.run_chip("ccfg", "--disable-debug", "--yes")
        self.assertIn("debug port", self.run_chip("info", code=4)[1])


if __name__ == "__main__":
    unittest.main()
