// Named operations: which handler, which phases around it.
#include <gtest/gtest.h>

#include "tests/support/ConnectedChip.h"

namespace flash::test {
namespace {

const Bytes kErasedByte = {0xFF};

Texts AfterLoading(const Texts& calls) {
    Texts result = kLoadCalls;
    result.insert(result.end(), calls.begin(), calls.end());
    return result;
}

// With what each operation needs.
struct ReadyChip : InitializedChip {
    ReadyChip() : InitializedChip(kLumoD) {
        Property("StandaloneEraseSpecificText") = "2";
        Property("DeviceBleSecondary") = "0A:0B:0C:0D:0E:0F";
        Property("DeviceIeeeSecondary") = "01:02:03:04:05:06:07:08";
    }
    Bytes BootloaderByte() { return FlashAt(FlashEnd() - kDisableBootloaderFromEnd, 1); }
};

TEST(ExecuteOperation, RunsEachOperationWithItsPhases) {
    struct Case {
        const char* name;
        Texts calls;  // but for the readings of settings
    };
    const Texts bankErase =
        AfterLoading({"WriteMemory 0x20000200 20*1", "RunTarget", "ReadMemory 0x20000210 1*4", "HaltTarget"});
    const Case cases[] = {
        {"Erase", bankErase},
        {"MassErase()", bankErase},
        {"ReadPriBle",
         {"ReadMemory 0x50001208 6*1", "SetProperty DeviceBlePrimary=B1:B2:B3:B4:B5:B6",
          "PrintMessage ReadPriBle: B1:B2:B3:B4:B5:B6"}},
        {"ReadSecBle",
         {"ReadMemory 0x0001FFC8 6*1", "SetProperty DeviceBleSecondary=11:22:33:44:55:66",
          "PrintMessage ReadSecBle: 11:22:33:44:55:66"}},
        {"ReadPriIeee",
         {"ReadMemory 0x50001200 8*1", "SetProperty DeviceIeeePrimary=A1:A2:A3:A4:A5:A6:A7:A8",
          "PrintMessage ReadPriIeee: A1:A2:A3:A4:A5:A6:A7:A8"}},
        {"ReadSecIeee",
         {"ReadMemory 0x0001FFC0 8*1", "SetProperty DeviceIeeeSecondary=01:23:45:67:89:AB:CD:EF",
          "PrintMessage ReadSecIeee: 01:23:45:67:89:AB:CD:EF"}},
        {"EraseSectors", AfterLoading({"WriteMemory 0x20000200 20*1", "ReadMemory 0x20000228 1*4", "HaltTarget"})},
        {"BlankCheck", AfterLoading({"WriteMemory 0x20000200 20*1", "ReadMemory 0x20000210 1*4",
                                     "PrintMessage Blank Check: Device flash is programmed", "HaltTarget"})},
    };
    for (const Case& each : cases) {
        ReadyChip chip;
        EXPECT_EQ(chip.Execute(each.name), "");
        EXPECT_EQ(chip.Calls(), each.calls) << each.name;
    }
}

TEST(ExecuteOperation, WritesASecondaryAddressThroughTheLastSector) {
    struct Case {
        const char* name;
        std::uint32_t address;
        Bytes bytes;
    };
    const Case cases[] = {
        {"WriteSecBle", 0x1'FFC8, {0x0F, 0x0E, 0x0D, 0x0C, 0x0B, 0x0A}},
        {"WriteSecIeee", 0x1'FFC0, {8, 7, 6, 5, 4, 3, 2, 1}},
    };
    for (const Case& each : cases) {
        ReadyChip chip;
        EXPECT_EQ(chip.Execute(each.name), "");
        EXPECT_EQ(chip.FlashAt(each.address, each.bytes.size()), each.bytes) << each.name;
        EXPECT_EQ(chip.Calls().front(), "ReadMemory 0x0001F000 4096*1");
        EXPECT_EQ(chip.host.CountOf(Service::HaltTarget), 2U) << "of the load, then of the closing phase";
    }
}

// What a load without its end left behind is dropped first, whatever the name.
TEST(ExecuteOperation, StartsWithPhase0) {
    struct Case {
        const char* name;
        std::size_t loads;  // of the flashloader, which is there already
    };
    const Case cases[] = {
        {"Erase", 1},       {"MassErase()", 1},  {"EraseSectors", 1}, {"BlankCheck", 1},
        {"WriteSecBle", 1}, {"WriteSecIeee", 1}, {"ReadPriBle", 0},   {"ReadSecBle", 0},
        {"ReadPriIeee", 0}, {"ReadSecIeee", 0},  {"no operation", 0},
    };
    for (const Case& each : cases) {
        ReadyChip chip;
        ASSERT_EQ(chip.Write({0, {1}}), "");
        chip.Execute(each.name);
        EXPECT_EQ(chip.host.flashloader.loads, 1 + each.loads) << each.name;

        ASSERT_EQ(chip.Write({0, {1}}), "");
        EXPECT_EQ(chip.host.flashloader.loads, 2 + each.loads) << each.name << ": and leaves nothing behind";
    }
}

TEST(ExecuteOperation, RefusesUnknownNamesWithoutAHostCall) {
    for (const char* name : {"erase", "Erase ", " Erase", "ERASE", "MassErase", "MassErase( )", "EraseSectors ", "",
                             "readpriBle", "Erase, EraseSectors", "dummy", "100%s%n"}) {
        ReadyChip chip;
        EXPECT_EQ(chip.Execute(name), std::string("Unsupported Operation Code: '") + name + "'");
        EXPECT_TRUE(chip.host.calls.empty()) << name;
    }
}

TEST(ExecuteOperation, AReadNeverRunsThePhaseThatChangesCcfg) {
    for (const char* name : {"ReadPriBle", "ReadSecBle", "ReadPriIeee", "ReadSecIeee"}) {
        ReadyChip chip;
        chip.SwitchOn("DisableBootloader");
        EXPECT_EQ(chip.Execute(name), "");
        EXPECT_EQ(chip.BootloaderByte(), kErasedByte) << name;
        EXPECT_EQ(chip.host.CountOf(Service::HaltTarget), 0U) << name;
    }
}

TEST(ExecuteOperation, EveryOtherOperationRunsThePhaseThatChangesCcfg) {
    for (const char* name : {"Erase", "MassErase()", "EraseSectors", "BlankCheck", "WriteSecBle", "WriteSecIeee"}) {
        ReadyChip chip;
        chip.SwitchOn("DisableBootloader");
        EXPECT_EQ(chip.Execute(name), "");
        EXPECT_EQ(chip.BootloaderByte(), Bytes{0}) << name;
    }
}

TEST(ExecuteOperation, AFailingHandlerSkipsTheClosingPhase) {
    struct Case {
        const char* name;
        const char* error;
    };
    const Case cases[] = {
        {"Erase", "Erasing all unprotected pages failed! Timed out waiting for target flashloader to complete command"},
        {"EraseSectors", "Given page is out of range: \"99\"\nNote that the number of available pages is 32\n"},
        {"WriteSecBle", "Error: Expected MAC address length of 6 bytes.\n"},
    };
    for (const Case& each : cases) {
        ReadyChip chip;
        chip.Property("StandaloneEraseSpecificText") = "99";
        chip.Property("DeviceBleSecondary") = "";
        chip.SwitchOn("DisableBootloader");
        chip.host.flashloader.AnswerAll(AnswerWithStatus(0x104));

        EXPECT_EQ(chip.Execute(each.name), each.error);

        EXPECT_LE(chip.host.CountOf(Service::HaltTarget), 1U) << each.name << ": only of the load";
        EXPECT_EQ(chip.BootloaderByte(), kErasedByte);
    }
}

}  // namespace
}  // namespace flash::test
