// Named operations: which handler, which phases around it.
#include <gtest/gtest.h>

#include <stdexcept>

#include "tests/support/OpenTarget.h"

namespace flash::test {
namespace {

const Texts kLoadCalls = {"HaltTarget",
                          "GetDirectoryPath",
                          "LoadProgram flashloader.elf||C:\\debugger\\bin\\..\\..\\arm\\",
                          "LookUpSymbol ResetISR",
                          "WriteRegister 527=0x20000101",
                          "RunTarget",
                          "LookUpSymbol g_buf1",
                          "LookUpSymbol g_buf2",
                          "LookUpSymbol g_cfg"};

Texts Joined(std::initializer_list<Texts> parts) {
    Texts result;
    for (const Texts& part : parts) {
        result.insert(result.end(), part.begin(), part.end());
    }
    return result;
}

Texts CallsOf(const FakeHost& host) { return TextsOf(Without(host.calls, {Slot::GetProperty})); }

TEST(ExecuteOperation, RunsEachOperationWithItsPhases) {
    struct Case {
        const char* name;
        Texts calls;  // but for the readings of settings
    };
    const Texts bankErase =
        Joined({kLoadCalls, {"WriteMemory 0x20000200 20*1", "RunTarget", "ReadMemory 0x20000210 1*4", "HaltTarget"}});
    const Case cases[] = {
        {"Erase", bankErase},
        {"MassErase()", bankErase},
        {"ReadPriBle",
         {"ReadMemory 0x50001208 6*1", "SetProperty DeviceBlePrimary=11:22:33:44:55:66",
          "PrintMessage ReadPriBle: 11:22:33:44:55:66"}},
        {"ReadSecBle",
         {"ReadMemory 0x0001FFC8 6*1", "SetProperty DeviceBleSecondary=FF:FF:FF:FF:FF:FF",
          "PrintMessage ReadSecBle: FF:FF:FF:FF:FF:FF"}},
        {"ReadPriIeee",
         {"ReadMemory 0x50001200 8*1", "SetProperty DeviceIeeePrimary=01:23:45:67:89:AB:CD:EF",
          "PrintMessage ReadPriIeee: 01:23:45:67:89:AB:CD:EF"}},
        {"ReadSecIeee",
         {"ReadMemory 0x0001FFC0 8*1", "SetProperty DeviceIeeeSecondary=FF:FF:FF:FF:FF:FF:FF:FF",
          "PrintMessage ReadSecIeee: FF:FF:FF:FF:FF:FF:FF:FF"}},
        {"EraseSectors",
         Joined({kLoadCalls, {"WriteMemory 0x20000200 20*1", "ReadMemory 0x20000228 1*4", "HaltTarget"}})},
        {"BlankCheck", Joined({kLoadCalls,
                               {"WriteMemory 0x20000200 20*1", "ReadMemory 0x20000210 1*4",
                                "PrintMessage Blank Check: Device flash is programmed", "HaltTarget"}})},
    };
    for (const Case& each : cases) {
        OpenLumoD target;
        target.host.properties["StandaloneEraseSpecificText"] = "2";
        target.device.ExecuteOperation(each.name);
        EXPECT_EQ(CallsOf(target.host), each.calls) << each.name;
    }
}

TEST(ExecuteOperation, WritesASecondaryAddressThroughTheLastSector) {
    struct Case {
        const char* name;
        const char* property;
        const char* text;
        std::uint32_t address;
        std::vector<std::uint8_t> bytes;
    };
    const Case cases[] = {
        {"WriteSecBle", "DeviceBleSecondary", "0A:0B:0C:0D:0E:0F", 0x1'FFC8, {0x0F, 0x0E, 0x0D, 0x0C, 0x0B, 0x0A}},
        {"WriteSecIeee", "DeviceIeeeSecondary", "01:02:03:04:05:06:07:08", 0x1'FFC0, {8, 7, 6, 5, 4, 3, 2, 1}},
    };
    for (const Case& each : cases) {
        OpenLumoD target;
        target.host.properties[each.property] = each.text;
        target.device.ExecuteOperation(each.name);
        EXPECT_EQ(target.host.memory.Bytes(each.address, each.bytes.size()), each.bytes) << each.name;
        EXPECT_EQ(TextOf(target.host.calls.front()), "ReadMemory 0x0001F000 4096*1");
        EXPECT_EQ(target.host.CountOf(Slot::HaltTarget), 2U) << "of the load, then of the closing phase";
    }
}

TEST(ExecuteOperation, RefusesUnknownNamesAfterPhase0) {
    for (const char* name : {"erase", "Erase ", " Erase", "ERASE", "MassErase", "MassErase( )", "EraseSectors ", "",
                             "readpriBle", "Erase, EraseSectors", "dummy"}) {
        OpenLumoD target;
        target.device.flashloaderLoaded = true;
        target.device.currentBlock = 1;
        target.device.sectorRanges = {"1"};

        EXPECT_EQ(ThrownText<std::runtime_error>([&] { target.device.ExecuteOperation(name); }),
                  std::string("Unsupported Operation Code: '") + name + "'");

        EXPECT_TRUE(target.host.calls.empty()) << name;
        EXPECT_FALSE(target.device.flashloaderLoaded);
        EXPECT_EQ(target.device.currentBlock, 0U);
        EXPECT_TRUE(target.device.sectorRanges.empty());
    }
}

// What a load without its end left behind is dropped first, whatever the name.
TEST(ExecuteOperation, AKnownNameStartsWithPhase0) {
    struct Case {
        const char* name;
        std::size_t loads;
    };
    const Case cases[] = {
        {"Erase", 1},        {"MassErase()", 1}, {"EraseSectors", 1}, {"BlankCheck", 1},  {"WriteSecBle", 1},
        {"WriteSecIeee", 1}, {"ReadPriBle", 0},  {"ReadSecBle", 0},   {"ReadPriIeee", 0}, {"ReadSecIeee", 0},
    };
    for (const Case& each : cases) {
        OpenLumoD target;
        target.host.properties["StandaloneEraseSpecificText"] = "2";
        target.host.properties["DeviceBleSecondary"] = "00:00:00:00:00:00";
        target.host.properties["DeviceIeeeSecondary"] = "00:00:00:00:00:00:00:00";
        target.device.flashloaderLoaded = true;
        target.device.currentBlock = 1;
        target.device.sectorRanges = {"1"};

        target.device.ExecuteOperation(each.name);

        EXPECT_EQ(target.flashloader.loads, each.loads) << each.name;
        EXPECT_FALSE(target.device.flashloaderLoaded) << each.name;
        EXPECT_EQ(target.device.currentBlock, 0U) << each.name;
        EXPECT_TRUE(target.device.sectorRanges.empty()) << each.name;
    }
}

TEST(ExecuteOperation, ANameWithAZeroByteInsideIsUnknown) {
    OpenLumoD target;
    EXPECT_THROW(target.device.ExecuteOperation(std::string("Erase\0", 6)), std::runtime_error);
}

TEST(ExecuteOperation, AReadNeverRunsThePhaseThatChangesCcfg) {
    for (const char* name : {"ReadPriBle", "ReadSecBle", "ReadPriIeee", "ReadSecIeee"}) {
        OpenLumoD target;
        target.host.properties["DisableBootloader"] = "1";
        target.device.ExecuteOperation(name);
        EXPECT_TRUE(target.flashloader.taken.empty()) << name;
        EXPECT_EQ(target.host.CountOf(Slot::HaltTarget), 0U) << name;
    }
}

TEST(ExecuteOperation, EveryOtherOperationRunsThePhaseThatChangesCcfg) {
    for (const char* name : {"Erase", "MassErase()", "EraseSectors", "BlankCheck", "WriteSecBle", "WriteSecIeee"}) {
        OpenLumoD target;
        target.host.properties["DisableBootloader"] = "1";
        target.host.properties["DeviceBleSecondary"] = "00:00:00:00:00:00";
        target.host.properties["DeviceIeeeSecondary"] = "00:00:00:00:00:00:00:00";
        target.device.ExecuteOperation(name);
        EXPECT_EQ(target.host.memory.Bytes(target.FlashEnd() - kDisableBootloaderFromEnd, 1),
                  (std::vector<std::uint8_t>{0}))
            << name;
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
        OpenLumoD target;
        target.host.properties["StandaloneEraseSpecificText"] = "99";
        target.host.properties["DisableBootloader"] = "1";
        target.flashloader.AnswerAll(AnswerWithStatus(0x104));

        EXPECT_EQ(ThrownText<std::runtime_error>([&] { target.device.ExecuteOperation(each.name); }), each.error);

        EXPECT_LE(target.host.CountOf(Slot::HaltTarget), 1U) << each.name << ": only of the load";
        EXPECT_EQ(target.host.memory.Bytes(target.FlashEnd() - kDisableBootloaderFromEnd, 1),
                  (std::vector<std::uint8_t>{0xFF}));
    }
}

TEST(ExecuteOperation, StartsAfreshEachTime) {
    OpenLumoD target;

    target.device.ExecuteOperation("Erase");
    target.device.ExecuteOperation("Erase");

    EXPECT_EQ(target.flashloader.loads, 2U);
    EXPECT_EQ(TextsOf(target.flashloader.taken), Texts(2, "command=1 addr=0x00000000 length=0 crc=0x00000000 block=0"));
}

}  // namespace
}  // namespace flash::test
