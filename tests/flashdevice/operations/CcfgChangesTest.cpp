// Changes to the customer configuration area through the whole last sector.
#include <gtest/gtest.h>

#include <algorithm>

#include "tests/support/ConnectedChip.h"

namespace flash::test {
namespace {

constexpr std::uint32_t kLastSector = 0x1'F000;

class CcfgChanges : public testing::Test {
protected:
    CcfgChanges() { host.memory.SetBytes(kLastSector, sector); }

    // The sector as it was, with `bytes` at a distance from flash's end.
    Bytes With(std::uint32_t fromEnd, const Bytes& bytes) const {
        Bytes expected = sector;
        std::copy(bytes.begin(), bytes.end(), expected.end() - fromEnd);
        return expected;
    }
    Bytes Sector() { return chip.FlashAt(kLastSector, 0x1000); }

    InitializedChip chip{kLumoD};
    SimulatedHost& host = chip.host;
    SimulatedFlashloader& flashloader = host.flashloader;
    const Bytes sector = Pattern(0x1000, 5);
};

TEST_F(CcfgChanges, AWriteOperationPatchesItsFieldOnly) {
    chip.Property("DeviceBleSecondary") = "A1:A2:A3:A4:A5:A6";
    EXPECT_EQ(chip.Execute("WriteSecBle"), "");
    EXPECT_EQ(Sector(), With(kBleSecondaryFromEnd, {0xA6, 0xA5, 0xA4, 0xA3, 0xA2, 0xA1}));

    host.memory.SetBytes(kLastSector, sector);
    chip.Property("DeviceIeeeSecondary") = "1:2:3:4:5:6:7:8";
    EXPECT_EQ(chip.Execute("WriteSecIeee"), "");
    EXPECT_EQ(Sector(), With(kIeeeSecondaryFromEnd, {8, 7, 6, 5, 4, 3, 2, 1}));
}

TEST_F(CcfgChanges, GoThroughTheirStepsInOrder) {
    chip.SwitchOn("DisableCpuDap");
    chip.SetErase(kSpecific);

    EXPECT_EQ(chip.Notify(2), "");

    const Texts calls = TextsOf(Without(host.calls, {Service::GetProperty, Service::LookUpSymbol}));
    EXPECT_EQ(calls, (Texts{"HaltTarget", "ReadMemory 0x0001F000 4096*1",
                            "SetProperty FlashEraseSetting=Necessary Sectors Only", "HaltTarget", "GetDirectoryPath",
                            "LoadProgram flashloader.out||C:\\tools\\bin\\debug\\..\\..\\arm\\",
                            "WriteRegister 527=0x20000101", "RunTarget", "WriteMemory 0x20001000 4096*1",
                            "WriteMemory 0x20000200 20*1", "ReadMemory 0x20000228 1*4", "ReadMemory 0x20000210 1*4",
                            "SetProperty FlashEraseSetting=Specific Sectors", "HaltTarget"}));
    EXPECT_EQ(chip.Commands(), Texts{Posted(3, kLastSector, 4096, 0)});
    EXPECT_FALSE(flashloader.isRunning);
}

TEST_F(CcfgChanges, FollowTheChipsSizeAndGeneration) {
    struct Case {
        const ChipModel& model;
        std::uint32_t sectors;
    };
    for (const Case& each : {Case{kLumoF, 44}, {kLumoF, 64}, {kLumoD, 16}}) {
        InitializedChip other(each.model, each.sectors);
        other.SwitchOn("DisableCpuDap");
        EXPECT_EQ(other.Notify(2), "");
        EXPECT_EQ(other.Commands(), Texts{Posted(3, other.geometry.LastSector(), other.geometry.sectorSize, 0)});
        EXPECT_EQ(other.FlashAt(other.FlashEnd() - kDisableCpuDapFromEnd - 1, 3), (Bytes{0xFF, 0x00, 0xFF}));
    }
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
        {"RetainIeeeSecondaryAddr", kIeeeSecondaryFromEnd, {0x11, 0x12, 0x13, 0x14, 0x15, 0x16, 0x17, 0x18}},
        {"RetainBleSecondaryAddr", kBleSecondaryFromEnd, {0x21, 0x22, 0x23, 0x24, 0x25, 0x26}},
        {"WriteProtectionToggle", kProtectionFromEnd, {0xFE, 0xFF, 0xFF, 0x7F, 0xFF, 0xFF, 0xFF, 0xFF}},
        {"DisableBootloader", kDisableBootloaderFromEnd, {0}},
        {"DisableCpuDap", kDisableCpuDapFromEnd, {0}},
    };
    for (const Case& each : cases) {
        InitializedChip other(kLumoD);
        other.Property("DeviceIeeeSecondary") = "1:2:3:4:5:6:7:8";
        other.Property("DeviceBleSecondary") = "1:2:3:4:5:6";
        other.Property("WriteProtectionText") = "0,31";
        other.SwitchOn(each.option);
        other.host.memory.SetBytes(0x1'FFC0, {0x11, 0x12, 0x13, 0x14, 0x15, 0x16, 0x17, 0x18,  //
                                              0x21, 0x22, 0x23, 0x24, 0x25, 0x26});
        EXPECT_EQ(other.Notify(1), "");  // what is retained is read here
        other.host.memory.SetBytes(kLastSector, sector);
        EXPECT_EQ(other.Notify(2), "");
        EXPECT_EQ(other.FlashAt(kLastSector, 0x1000), With(each.fromEnd, each.bytes)) << each.option;
    }
}

TEST_F(CcfgChanges, RetainWinsOverOverride) {
    for (const char* field : {"Ieee", "Ble"}) {
        chip.SwitchOn((std::string("Retain") + field + "SecondaryAddr").c_str());
        chip.SwitchOn((std::string("Override") + field + "SecondaryAddr").c_str());
        chip.Property(std::string("Device") + field + "Secondary") = "no address";  // never read
    }

    ASSERT_EQ(chip.Load({{kLastSector, Bytes(0x1000, 0x77)}}), "");

    Bytes expected(0x1000, 0x77);
    std::copy_n(sector.end() - kIeeeSecondaryFromEnd, 14, expected.end() - kIeeeSecondaryFromEnd);
    EXPECT_EQ(Sector(), expected) << "what was there when the load started";
}

TEST_F(CcfgChanges, RetainingNothingProgramsTheSectorAsItIs) {
    chip.SwitchOn("RetainBleSecondaryAddr");

    EXPECT_EQ(chip.Notify(2), "");

    EXPECT_EQ(Sector(), sector);
    EXPECT_EQ(chip.Commands(), Texts{Posted(3, kLastSector, 4096, 0)});
}

TEST_F(CcfgChanges, AnEmptyAddressAbandonsTheChange) {
    for (const char* field : {"DeviceIeeeSecondary", "DeviceBleSecondary"}) {
        chip.Property(std::string(field) + "Loc") = "1FFC0:0";
        chip.Property(field) = "";
    }
    for (const char* option : {"OverrideIeeeSecondaryAddr", "OverrideBleSecondaryAddr"}) {
        chip.SwitchOn(option);
        chip.SwitchOn("DisableBootloader");
        EXPECT_EQ(chip.Notify(2), "") << option;
        chip.Property(option) = "0";
        chip.Property("DisableBootloader") = "0";
    }
    EXPECT_EQ(chip.Execute("WriteSecBle"), "");
    EXPECT_EQ(chip.Execute("WriteSecIeee"), "");

    EXPECT_EQ(flashloader.loads, 0U);
    EXPECT_EQ(host.CountOf(Service::SetProperty), 0U);
    EXPECT_TRUE(host.messages.empty());
}

TEST_F(CcfgChanges, ABadAddressProgramsNothing) {
    chip.SwitchOn("OverrideBleSecondaryAddr");
    chip.Property("DeviceBleSecondary") = "1:2:3";
    chip.SwitchOn("OverrideIeeeSecondaryAddr");
    chip.Property("DeviceIeeeSecondary") = "1:2:3:4:5:6:7:8";

    EXPECT_EQ(chip.Notify(2), "Error: Expected MAC address length of 6 bytes.\n");

    EXPECT_EQ(flashloader.loads, 0U);
}

TEST_F(CcfgChanges, NeedTheProtectionToggleAndTheEraseSetting) {
    chip.SwitchOn("DisableCpuDap");
    host.properties.erase("WriteProtectionToggle");
    EXPECT_EQ(chip.Notify(2), "Unknown property \"WriteProtectionToggle\"");

    chip.Property("WriteProtectionToggle") = "0";
    host.properties.erase("FlashEraseSetting");
    EXPECT_EQ(chip.Notify(2), "Unknown property \"FlashEraseSetting\"");
    EXPECT_FALSE(host.properties.contains("FlashEraseSetting"));
}

TEST_F(CcfgChanges, AFailureLeavesTheEraseSettingChanged) {
    chip.SetErase(kBank);
    chip.SwitchOn("DisableBootloader");
    flashloader.AnswerAll(AnswerWithStatus(0x102));

    EXPECT_EQ(chip.Notify(2), "Timed out waiting for target flashloader to execute command.");

    EXPECT_EQ(chip.Property("FlashEraseSetting"), kNecessary);
}

TEST_F(CcfgChanges, APatchIsLimitedByTheSectorAndNotByTheField) {
    chip.SwitchOn("WriteProtectionToggle");
    chip.Property("WriteProtectionText") = "1";
    const Bytes words = {0xFD, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};
    chip.Property("CCFG_PROT_31_0Loc") = "0x1FFF8:1";
    EXPECT_EQ(chip.Notify(2), "");
    EXPECT_EQ(Sector(), With(8, words));

    chip.Property("CCFG_PROT_31_0Loc") = "0x1FFF9:1";
    EXPECT_EQ(chip.Notify(2), "invalid vector<T> subscript");
    EXPECT_EQ(Sector(), With(8, words));
}

TEST_F(CcfgChanges, APatchTakesTheOffsetWithinASector) {
    struct Case {
        const ChipModel& model;
        std::uint32_t offset;
    };
    for (const Case& each : {Case{kLumoD, 2}, {kLumoF, 0x1002}}) {
        InitializedChip other(each.model);
        other.SwitchOn("DisableCpuDap");
        other.Property("DisableCpuDapLoc") = "0x3002:1";  // in another sector altogether
        EXPECT_EQ(other.Notify(2), "");
        EXPECT_EQ(other.FlashAt(other.geometry.LastSector() + each.offset, 1), Bytes{0});
    }
}

TEST_F(CcfgChanges, NeedTheFieldsPlace) {
    chip.SwitchOn("DisableBootloader");
    host.properties.erase("DisableBootloaderLoc");
    EXPECT_EQ(chip.Notify(2), "Failed to read property 'DisableBootloaderLoc'.");
}

}  // namespace
}  // namespace flash::test
