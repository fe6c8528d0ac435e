// Changes to the customer configuration area through the whole last sector.
#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>

#include "tests/support/OpenTarget.h"

namespace flash::test {
namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr std::uint32_t kLastSector = 0x1'F000;

struct CcfgChanges : testing::Test {
    CcfgChanges() {
        // A last sector in which every byte can be told from its neighbours.
        sector.resize(0x1000);
        for (std::size_t i = 0; i < sector.size(); ++i) {
            sector[i] = static_cast<std::uint8_t>(i * 11 + 3);
        }
        host.memory.SetBytes(kLastSector, sector);
    }

    // The sector as it was, with `bytes` at a distance from flash's end.
    Bytes With(std::uint32_t fromEnd, const Bytes& bytes) const {
        Bytes expected = sector;
        std::copy(bytes.begin(), bytes.end(), expected.end() - fromEnd);
        return expected;
    }
    Bytes Sector() const { return host.memory.Bytes(kLastSector, 0x1000); }

    OpenLumoD target;
    OpenDor& device = target.device;
    FakeHost& host = target.host;
    Bytes sector;
};

TEST_F(CcfgChanges, AWriteOperationPatchesItsFieldOnly) {
    host.properties["DeviceBleSecondary"] = "A1:A2:A3:A4:A5:A6";
    host.properties["DisableBootloader"] = "1";  // not asked for by the operation

    EXPECT_TRUE(device.ApplyCcfgChanges("WriteSecBle"));

    EXPECT_EQ(Sector(), With(kBleSecondaryFromEnd, {0xA6, 0xA5, 0xA4, 0xA3, 0xA2, 0xA1}));
}

TEST_F(CcfgChanges, GoesThroughItsStepsInOrder) {
    host.properties["DeviceIeeeSecondary"] = "1:2:3:4:5:6:7:8";
    host.properties["FlashEraseSetting"] = "Specific Sectors";
    target.LoadFlashloader();

    EXPECT_TRUE(device.ApplyCcfgChanges("WriteSecIeee"));

    EXPECT_EQ(TextsOf(Without(host.calls, {Slot::GetProperty})),
              (Texts{"ReadMemory 0x0001F000 4096*1", "SetProperty FlashEraseSetting=Necessary Sectors Only",
                     "WriteMemory 0x20001000 4096*1", "WriteMemory 0x20000200 20*1", "ReadMemory 0x20000228 1*4",
                     "ReadMemory 0x20000210 1*4", "SetProperty FlashEraseSetting=Specific Sectors"}));
    EXPECT_EQ(TextsOf(target.flashloader.taken), Texts{"command=3 addr=0x0001F000 length=4096 crc=0x00000000 block=0"});
    EXPECT_EQ(Sector(), With(kIeeeSecondaryFromEnd, {8, 7, 6, 5, 4, 3, 2, 1}));
}

TEST_F(CcfgChanges, FollowsTheChipsSizeAndGeneration) {
    OpenLumoF second;
    second.host.properties["DisableCpuDap"] = "1";
    EXPECT_TRUE(second.device.ApplyCcfgChanges("dummy"));
    EXPECT_EQ(TextsOf(second.flashloader.taken), Texts{"command=3 addr=0x00056000 length=8192 crc=0x00000000 block=0"});
    EXPECT_EQ(second.host.memory.Bytes(0x5'7FD6, 3), (Bytes{0xFF, 0x00, 0xFF}));

    OpenLumoD small(16);
    small.host.properties["DisableCpuDap"] = "1";
    EXPECT_TRUE(small.device.ApplyCcfgChanges("dummy"));
    EXPECT_EQ(small.host.memory.Bytes(0xFFD6, 3), (Bytes{0xFF, 0x00, 0xFF}));
}

TEST_F(CcfgChanges, EachOptionChangesItsFieldOnly) {
    struct Case {
        const char* option;
        std::uint32_t fromEnd;
        Bytes bytes;
    };
    const Case cases[] = {
        {"OverrideIeeeSecondaryAddr", kIeeeSecondaryFromEnd, {8, 7, 6, 5, 4, 3, 2, 1}},
        {"OverrideBleSecondaryAddr", kBleSecondaryFromEnd, {6, 5, 4, 3, 2, 1}},
        {"RetainIeeeSecondaryAddr", kIeeeSecondaryFromEnd, {0x11, 0x12}},
        {"RetainBleSecondaryAddr", kBleSecondaryFromEnd, {0x21, 0x22, 0x23}},
        {"WriteProtectionToggle", kProtectionFromEnd, {0xFE, 0xFF, 0xFF, 0x7F, 0xFF, 0xFF, 0xFF, 0xFF}},
        {"DisableBootloader", kDisableBootloaderFromEnd, {0}},
        {"DisableCpuDap", kDisableCpuDapFromEnd, {0}},
        {"NoSuchOption", 1, {sector.back()}},
    };
    for (const Case& each : cases) {
        host.memory.SetBytes(kLastSector, sector);
        device.OnFlashPhase(0);
        device.writeProtectWords = {0xFFFF'FFFF, 0xFFFF'FFFF};
        device.macAddressCache = {{"ReadSecIeee", {0x11, 0x12}}, {"ReadSecBle", {0x21, 0x22, 0x23}}};
        host.properties["DeviceIeeeSecondary"] = "1:2:3:4:5:6:7:8";
        host.properties["DeviceBleSecondary"] = "1:2:3:4:5:6";
        host.properties["WriteProtectionText"] = "0,31";
        host.properties[each.option] = "1";
        EXPECT_TRUE(device.ApplyCcfgChanges("dummy"));
        EXPECT_EQ(Sector(), With(each.fromEnd, each.bytes)) << each.option;
        host.properties[each.option] = "0";
    }
}

TEST_F(CcfgChanges, RetainWinsOverOverride) {
    host.properties["RetainIeeeSecondaryAddr"] = "1";
    host.properties["OverrideIeeeSecondaryAddr"] = "1";
    host.properties["DeviceIeeeSecondary"] = "no address";  // never read
    device.macAddressCache["ReadSecIeee"] = {1, 2, 3, 4, 5, 6, 7, 8};

    EXPECT_TRUE(device.ApplyCcfgChanges("dummy"));

    EXPECT_EQ(Sector(), With(kIeeeSecondaryFromEnd, {1, 2, 3, 4, 5, 6, 7, 8}));
}

TEST_F(CcfgChanges, RetainingNothingProgramsTheSectorAsItIs) {
    host.properties["RetainBleSecondaryAddr"] = "1";

    EXPECT_TRUE(device.ApplyCcfgChanges("dummy"));

    EXPECT_EQ(Sector(), sector);
    EXPECT_EQ(target.flashloader.taken.size(), 1U);
    EXPECT_EQ(device.macAddressCache.count("ReadSecBle"), 1U);
}

TEST_F(CcfgChanges, AnEmptyAddressAbandonsTheChange) {
    for (const char* field : {"DeviceIeeeSecondary", "DeviceBleSecondary"}) {
        host.properties[std::string(field) + "Loc"] = "1FFC0:0";
        host.properties[field] = "";
    }
    host.properties["DisableBootloader"] = "1";
    for (const char* option : {"OverrideIeeeSecondaryAddr", "OverrideBleSecondaryAddr"}) {
        host.properties[option] = "1";
        EXPECT_FALSE(device.ApplyCcfgChanges("dummy")) << option;
        host.properties[option] = "0";
    }
    EXPECT_FALSE(device.ApplyCcfgChanges("WriteSecBle"));
    EXPECT_FALSE(device.ApplyCcfgChanges("WriteSecIeee"));

    EXPECT_EQ(Sector(), sector);
    EXPECT_EQ(target.flashloader.loads, 0U);
    EXPECT_EQ(host.CountOf(Slot::SetProperty), 0U);
    EXPECT_TRUE(host.messages.empty());
}

TEST_F(CcfgChanges, AnUnknownCommandFailsAfterTheSectorIsRead) {
    EXPECT_EQ(ThrownText<std::runtime_error>([&] { device.ApplyCcfgChanges("Erase"); }),
              "GetXmlPropertyNameFromCommand(): Unknown command 'Erase'");
    EXPECT_EQ(TextsOf(host.calls), Texts{"ReadMemory 0x0001F000 4096*1"});
}

TEST_F(CcfgChanges, ACommandThatContainsTheMarkerAppliesAllChanges) {
    host.properties["DisableBootloader"] = "1";
    EXPECT_TRUE(device.ApplyCcfgChanges("a dummy command"));
    EXPECT_EQ(Sector(), With(kDisableBootloaderFromEnd, {0}));
}

TEST_F(CcfgChanges, ABadAddressProgramsNothing) {
    host.properties["OverrideBleSecondaryAddr"] = "1";
    host.properties["DeviceBleSecondary"] = "1:2:3";
    host.properties["OverrideIeeeSecondaryAddr"] = "1";
    host.properties["DeviceIeeeSecondary"] = "1:2:3:4:5:6:7:8";

    EXPECT_EQ(ThrownText<std::runtime_error>([&] { device.ApplyCcfgChanges("dummy"); }),
              "Error: Expected MAC address length of 6 bytes.\n");

    EXPECT_EQ(Sector(), sector);
    EXPECT_EQ(target.flashloader.loads, 0U);
}

TEST_F(CcfgChanges, NeedsTheProtectionToggleAndTheEraseSetting) {
    host.properties.erase("WriteProtectionToggle");
    EXPECT_EQ(ThrownText<std::logic_error>([&] { device.ApplyCcfgChanges("dummy"); }),
              "Unknown property \"WriteProtectionToggle\"");
    host.properties["WriteProtectionToggle"] = "0";
    host.properties.erase("FlashEraseSetting");
    EXPECT_EQ(ThrownText<std::logic_error>([&] { device.ApplyCcfgChanges("dummy"); }),
              "Unknown property \"FlashEraseSetting\"");
    EXPECT_EQ(host.properties.count("FlashEraseSetting"), 0U);
}

TEST_F(CcfgChanges, ATimeOutLeavesTheEraseSettingChanged) {
    host.properties["FlashEraseSetting"] = "All Unprotected Sectors";
    host.properties["DisableBootloader"] = "1";
    target.flashloader.AnswerAll(AnswerWithStatus(0x102));

    EXPECT_EQ(ThrownText<std::runtime_error>([&] { device.ApplyCcfgChanges("dummy"); }),
              "Timed out waiting for target flashloader to execute command.");

    EXPECT_EQ(host.properties["FlashEraseSetting"], "Necessary Sectors Only");
}

TEST_F(CcfgChanges, ProtectionStaysForTheLifeOfTheDevice) {
    host.properties["WriteProtectionToggle"] = "1";
    host.properties["WriteProtectionText"] = "0";
    device.ApplyCcfgChanges("dummy");
    host.properties["WriteProtectionText"] = "1";

    device.ApplyCcfgChanges("dummy");

    EXPECT_EQ(Sector(), With(kProtectionFromEnd, {0xFC, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}));
}

TEST_F(CcfgChanges, APatchIsNotLimitedByTheFieldButByTheSector) {
    Bytes image(0x1000, 0xEE);
    host.properties["FieldLoc"] = "0x1FFFC:1";

    device.PatchCcfgField(image, {1, 2, 3, 4}, "Field");
    EXPECT_EQ(Bytes(image.end() - 5, image.end()), (Bytes{0xEE, 1, 2, 3, 4}));

    EXPECT_EQ(ThrownText<std::out_of_range>([&] {
                  device.PatchCcfgField(image, {1, 2, 3, 4, 5}, "Field");
              }),
              "invalid vector<T> subscript");
    EXPECT_NO_THROW(device.PatchCcfgField(image, {}, "Field"));
    EXPECT_EQ(ThrownText<std::runtime_error>([&] { device.PatchCcfgField(image, {1}, "Missing"); }),
              "Failed to read property 'MissingLoc'.");
}

TEST_F(CcfgChanges, APatchTakesTheOffsetWithinASector) {
    Bytes image(0x1000, 0);
    host.properties["FieldLoc"] = "0x3002:1";  // in another sector altogether
    device.PatchCcfgField(image, {7}, "Field");
    EXPECT_EQ(image[2], 7);

    OpenLumoF second;
    Bytes larger(0x2000, 0);
    second.host.properties["FieldLoc"] = "0x3002:1";
    second.device.PatchCcfgField(larger, {7}, "Field");
    EXPECT_EQ(larger[0x1002], 7);
}

TEST(CcfgChangesSweep, EndsWithTheHostsTextOrThatOfTheStep) {
    std::size_t writes = 0;
    SweepHostErrors(
        [](OpenLumoD& target) {
            target.SetVerbose();
            target.host.properties["OverrideBleSecondaryAddr"] = "1";
            target.host.properties["DeviceBleSecondary"] = "1:2:3:4:5:6";
            target.host.properties["DisableCpuDap"] = "1";
        },
        [](OpenLumoD& target) { target.device.ApplyCcfgChanges("dummy"); },
        [&](Slot slot) -> std::string {
            switch (slot) {
                case Slot::LoadProgram:
                    return "Failed to write flashloader to device SRAM.";
                case Slot::WriteMemory:
                    return writes++ == 0 ? "Failed to write data to temporary buffer in RAM before programming device "
                                           "FLASH memory."
                                         : "Failed to write configuration block to target.";
                default:
                    return kPlannedError;
            }
        });
    EXPECT_EQ(writes, 2U);
}

}  // namespace
}  // namespace flash::test
