"""`lumoflash devices`, and the descriptions of parts."""
import unittest

from lumoflash import SOURCE, Case


class Devices(Case):
    def test_devices_lists_every_description(self):
        out, _ = self.run_raw("devices")
        parts = sorted(path.stem for path in (SOURCE / "devices").glob("*.xml"))
        self.assertGreater(len(parts), 5)
        self.assertEqual([line.split()[0].lower() for line in out.decode().splitlines()], parts)

    def test_a_bad_description_is_named_with_its_line(self):
        self.file("bad.xml", "<flashProperties device='LumoD1'>\n<nonsense/></flashProperties>")
        self.assertIn("bad.xml:", self.run_chip("--devices", str(self.path), "info", code=2)[1])


if __name__ == "__main__":
    unittest.main()
