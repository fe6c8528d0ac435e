"""`lumoflash devices`, and the descriptions of parts."""
import unittest

from lumoflash import SOURCE, Case


class Devices(Case):
    def test_devices_lists_every_description(self):
        out, _ = self.run_raw("devices")
        parts = sorted(path.stem for path in (SOURCE / "devices").glob("*.xml"))
        self.assertGreater(len(parts), 5)
        self.assertEqual([line.split()[0].lower() for line in out.decode().splitlines()], parts)

    def test_each_part_has_its_sizes(self):
        self.assertIn("352 KiB,  44 sectors of 8192", self.run_raw("devices")[0].decode())

    def test_a_bad_description_is_a_warning_and_leaves_the_others_usable(self):
        self.file("good.xml", (SOURCE / "devices/lumod1f64.xml").read_bytes())
        self.file("bad.xml", "<flashProperties device='LumoD1'>\n<nonsense/></flashProperties>")
        out, err = self.run_raw("--devices", str(self.path), "devices")
        self.assertIn("LumoD1F64 ", out.decode())
        self.assertRegex(err, r"warning: .*bad\.xml:2: ")
        self.assertRegex(self.run_chip("--devices", str(self.path), "erase")[1], r"warning: .*bad\.xml:2: ")

    def test_a_bad_description_is_named_with_its_line(self):
        self.file("bad.xml", "<flashProperties device='LumoD1'>\n<nonsense/></flashProperties>")
        self.assertIn("bad.xml:", self.run_chip("--devices", str(self.path), "info", code=2)[1])


if __name__ == "__main__":
    unittest.main()
