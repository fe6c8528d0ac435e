"""`lumoflash mac`: the radio addresses."""
import unittest

from lumoflash import Case, pattern


class Mac:
    def test_addresses(self):
        self.run_chip("mac", "write", "ble", "c2-00-00-00-00-01")
        self.run_chip("mac", "write", "ieee", "02:00:00:00:00:00:00:03")
        self.run_chip("program", self.file("a.bin", pattern(10)), "--base", "0", "--erase", "all", "--retain-ble",
                      "--ieee", "02:00:00:00:00:00:00:04")
        out, err = self.run_chip("mac", "read")
        self.assertEqual(out.decode().split("\n")[1:4:2], ["secondary BLE  C2:00:00:00:00:01",
                                                           "secondary IEEE 02:00:00:00:00:00:00:04"])
        self.assertNotIn("ReadSecBle", err)

    def test_one_named_address(self):
        self.new_chip()
        events = self.events("mac", "read", "pri-ble")
        self.assertEqual([e["address"] for e in events if e["event"] == "address"], ["C2:02:03:04:05:06"])


class MacOnLumoD(Mac, Case):
    device = "LumoD1F64"


class MacOnLumoF(Mac, Case):
    device = "LumoF2F352"


if __name__ == "__main__":
    unittest.main()
