"""`lumoflash mac`: the radio addresses."""
import unittest

from lumoflash import Case, pattern


class Mac:
    def test_addresses(self):
        self.run_chip("mac", "write", "ble", "c2-00-00-00-00-01")
        self.run_chip("mac", "write", "ieee", "02:00:00:00:00:00:00:03")
        out, err = self.run_chip("program", self.file("a.bin", pattern(10)), "--base", "0", "--erase", "all", "--retain-ble",
                                 "--ieee", "02:00:00:00:00:00:00:04")
        self.assertNotIn("Retaining", out.decode() + err, "what it did on the way is for --verbose")
        out, err = self.run_chip("mac", "read")
        self.assertEqual(out.decode().split("\n")[1:4:2], ["secondary BLE  C2:00:00:00:00:01",
                                                           "secondary IEEE 02:00:00:00:00:00:00:04"])
        self.assertNotIn("ReadSecBle", err)

    def test_one_named_address(self):
        self.run_raw("--device", self.device, "--probe", f"virtual:{self.chip},identity=02:01:02:03:04:05:06:07", "erase")
        events = self.events("mac", "read", "pri-ble")
        self.assertEqual([e["address"] for e in events if e["event"] == "address"], ["C2:03:04:05:06:07"])

    def test_each_new_chip_in_a_file_is_another_one(self):
        identities = set()
        for number in range(3):
            chip = ["--device", self.device, "--probe", f"virtual:{number}.chip"]
            self.run_raw(*chip, "erase")
            identity = self.run_raw(*chip, "mac", "read", "pri-ieee")[0].decode().split()[-1]
            self.assertEqual(int(identity[:2], 16) & 3, 2, "locally administered, of one chip")
            self.assertEqual(self.run_raw(*chip, "mac", "read", "pri-ieee")[0].decode().split()[-1], identity)
            identities.add(identity)
        self.assertEqual(len(identities), 3)

    def test_a_file_with_another_chip_is_refused(self):
        given = f"virtual:{self.chip},identity=02:00:00:00:00:00:00:01"
        self.run_raw("--device", self.device, "--probe", given, "erase")
        self.run_raw("--device", self.device, "--probe", given, "info")
        _, err = self.run_raw("--device", self.device, "--probe", given[:-1] + "2", "info", code=4)
        self.assertEqual(err, f"error: {self.chip} holds the chip 02:00:00:00:00:00:00:01, not 02:00:00:00:00:00:00:02; choose another file\n")

    def test_an_identity_that_is_none_is_refused(self):
        for identity in ("", "02:00", "02:00:00:00:00:00:00:01:02", "random"):
            _, err = self.run_raw("--device", self.device, "--probe", f"virtual:{self.chip},identity={identity}", "erase", code=2)
            self.assertTrue(err.startswith(f'error: --probe: "{identity}" is not an address of 8 bytes'), err)
        self.assertFalse(self.chip.exists())


class MacOnLumoD(Mac, Case):
    device = "LumoD1F64"


class MacOnLumoF(Mac, Case):
    device = "LumoF2F352"


if __name__ == "__main__":
    unittest.main()
