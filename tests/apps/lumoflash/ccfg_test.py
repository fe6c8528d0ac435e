"""`lumoflash ccfg`: showing and changing the customer configuration area."""
import unittest

from lumoflash import Case


class Ccfg(Case):
    def test_closing_properties_change_the_chip_as_their_options_do(self):
        self.run_chip("ccfg", "--set", "OverrideBleSecondaryAddr=1", "--set", "DeviceBleSecondary=C2:00:00:00:00:09",
                      "--set", "DisableBootloader=1", "--set", "WriteProtectionToggle=1", "--set", "WriteProtectionText=9", "--yes")
        event = [e for e in self.events("ccfg", "--set", "CrcVerify=1") if e["event"] == "ccfg"][0]
        self.assertEqual((event["bootloaderDisabled"], event["debugDisabled"], event["protected"]), (True, False, [9]))
        self.assertIn("C2:00:00:00:00:09", self.run_chip("mac", "read", "sec-ble")[0].decode())


if __name__ == "__main__":
    unittest.main()
