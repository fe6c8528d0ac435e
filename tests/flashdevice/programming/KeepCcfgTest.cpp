// Keeping the customer configuration area: saved once, kept out of the data, written back.
#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>

#include "tests/support/OpenTarget.h"

namespace flash::test {
namespace {

constexpr std::uint32_t kCcfg = 0x1'FFA8;  // of the usual chip: 88 bytes
constexpr char kInvalidSize[] = "Keep CCFG: Device CCFG size is invalid, ignoring option.";

struct KeepCcfg : testing::Test {
    KeepCcfg() { host.properties["KeepCcfgSetting"] = "1"; }

    void SetSizeField(std::uint32_t size) {
        host.memory.SetWord(target.FlashEnd() - kCcfgSizeWordFromEnd, size << 16 | 0xFFFF);
    }
    void Program(std::uint32_t address, std::uint32_t length) {
        const std::vector<std::uint8_t> data(length, 0x11);
        device.ProgramData(data.data(), address, length);
    }
    Texts Commands() const { return TextsOf(target.flashloader.taken); }

    OpenLumoD target;
    OpenDor& device = target.device;
    FakeHost& host = target.host;
};

TEST_F(KeepCcfg, IsOnOnlyForTheText1) {
    EXPECT_TRUE(device.KeepCcfgActive());
    for (const char* text : {"0", "true", "1 ", ""}) {
        host.properties["KeepCcfgSetting"] = text;
        EXPECT_FALSE(device.KeepCcfgActive()) << text;
    }
    host.properties.erase("KeepCcfgSetting");
    EXPECT_FALSE(device.KeepCcfgActive());
}

TEST_F(KeepCcfg, SavesTheEndOfFlash) {
    host.memory.SetBytes(kCcfg, {1, 2, 3});
    host.memory.SetBytes(0x1'FFFF, {99});

    device.ReadCcfg();

    EXPECT_EQ(TextsOf(Without(host.calls, {Slot::GetProperty})),
              (Texts{"ReadMemory 0x50003FB0 1*4", "ReadMemory 0x0001FFA8 88*1"}));
    EXPECT_EQ(device.ccfgData->address, kCcfg);
    EXPECT_EQ(device.ccfgData->lastSectorAddress, 0x1'F000U);
    EXPECT_EQ(device.ccfgData->data, host.memory.Bytes(kCcfg, 88));
}

TEST_F(KeepCcfg, FollowsTheChipsSizeAndGeneration) {
    OpenLumoF second;
    second.device.ReadCcfg();
    EXPECT_EQ(TextsOf(Only(second.host.calls, {Slot::ReadMemory})),
              (Texts{"ReadMemory 0x50004FB0 1*4", "ReadMemory 0x00057FA8 88*1"}));
    EXPECT_EQ(second.device.ccfgData->lastSectorAddress, 0x5'6000U);

    OpenLumoD small(16);
    small.device.ReadCcfg();
    EXPECT_EQ(small.device.ccfgData->address, 0xFFA8U);
    EXPECT_EQ(small.device.ccfgData->lastSectorAddress, 0xF000U);
}

TEST_F(KeepCcfg, TakesSizesUpToASector) {
    struct Case {
        std::uint32_t size;
        std::uint32_t address;  // 0: invalid
    };
    const Case cases[] = {{0, 0},           {1, 0x1'FFFF}, {88, kCcfg}, {4095, 0x1'F001},
                          {4096, 0x1'F000}, {4097, 0},     {0x8000, 0}, {0xFFFF, 0}};
    for (const Case& each : cases) {
        OpenLumoD other;
        other.SetVerbose();
        other.host.memory.SetWord(other.FlashEnd() - kCcfgSizeWordFromEnd, each.size << 16);
        other.device.ccfgData->data = {1};
        other.device.ReadCcfg();
        const bool isValid = each.address != 0;
        EXPECT_EQ(other.device.ccfgData->data.size(), isValid ? each.size : 0) << each.size;
        EXPECT_EQ(other.host.messages.at(0) == kInvalidSize, !isValid) << each.size;
        EXPECT_EQ(other.host.messages.size(), 1U);
        if (isValid) {
            EXPECT_EQ(other.device.ccfgData->address, each.address) << each.size;
        }
    }
}

TEST_F(KeepCcfg, TellsWhatItSavesInVerboseModeOnly) {
    device.ReadCcfg();
    EXPECT_TRUE(host.messages.empty());
    target.SetVerbose();
    device.ReadCcfg();
    EXPECT_EQ(host.messages, Texts{"Keep CCFG: Reading CCFG from target (addr = 0x0001FFA8, length = 88)"});
    EXPECT_EQ(TextOf(host.calls.back()), "ReadMemory 0x0001FFA8 88*1") << "told before it is read";
}

TEST_F(KeepCcfg, AnInvalidSizeIsToldInVerboseModeOnlyAndTriedAgainAtTheNextRequest) {
    SetSizeField(0);
    Program(0x1'F000, 16);
    EXPECT_TRUE(host.messages.empty());
    EXPECT_EQ(target.flashloader.taken.size(), 1U);

    SetSizeField(88);  // the request erased it
    Program(0x1'F000, 16);

    EXPECT_EQ(device.ccfgData->data.size(), 88U);
}

TEST_F(KeepCcfg, HoldsNothingAfterAFailingRead) {
    for (const std::size_t n : {1U, 2U}) {
        host.FailNth(Slot::ReadMemory, n, kPlannedError);
        EXPECT_EQ(ThrownText<std::runtime_error>([&] { Program(0, 16); }), kPlannedError);
        EXPECT_TRUE(device.ccfgData->data.empty()) << n;
        EXPECT_EQ(target.flashloader.loads, 0U);
    }
}

TEST_F(KeepCcfg, ReadsOnceForAllRequestsUntilTheNextPhase) {
    Program(0, 16);
    Program(0x1000, 16);
    EXPECT_EQ(TextsOf(Only(host.calls, {Slot::ReadMemory})).front(), "ReadMemory 0x50003FB0 1*4");
    const auto countRegisterReads = [&] {
        const Texts calls = TextsOf(host.calls);
        return std::count(calls.begin(), calls.end(), "ReadMemory 0x50003FB0 1*4");
    };
    EXPECT_EQ(countRegisterReads(), 1);

    device.OnFlashPhase(0);
    EXPECT_TRUE(device.ccfgData->data.empty());
    EXPECT_EQ(device.ccfgData->address, 0U);
    EXPECT_EQ(device.ccfgData->lastSectorAddress, 0U);
    Program(0x2000, 16);
    EXPECT_EQ(countRegisterReads(), 2);
}

TEST_F(KeepCcfg, TrimsARangeThatReachesIntoTheSavedArea) {
    device.ReadCcfg();
    target.SetVerbose();
    struct Case {
        const char* name;
        std::uint32_t address, length, trimmed;
        const char* message;  // null: none
    };
    const Case cases[] = {
        {"ends before", 0x1'F000, 0xFA8, 0xFA8, nullptr},
        {"ends with its first byte", 0x1'F000, 0xFA9, 0xFA8,
         "Keep CCFG: Range addr=0x0001F000, length=4009 is overlapping stored CCFG. Length reduced to 4008 bytes.\n"},
        {"covers it", 0x1'F000, 0x1000, 0xFA8,
         "Keep CCFG: Range addr=0x0001F000, length=4096 is overlapping stored CCFG. Length reduced to 4008 bytes.\n"},
        {"starts one byte before", kCcfg - 1, 2, 1,
         "Keep CCFG: Range addr=0x0001FFA7, length=2 is overlapping stored CCFG. Length reduced to 1 bytes.\n"},
        {"starts with it", kCcfg, 88, 0,
         "Keep CCFG: Range addr=0x0001FFA8, length=88 is overlapping stored CCFG. Length reduced to 0.\n"},
        {"starts beyond flash", 0x2'0000, 4, 0,
         "Keep CCFG: Range addr=0x00020000, length=4 is overlapping stored CCFG. Length reduced to 0.\n"},
        {"empty before", 0, 0, 0, nullptr},
        {"far away", 0, 0x1000, 0x1000, nullptr},
        {"ends at the end of the address space", 0x1000, 0xFFFF'F000, 0xFFFF'F000, nullptr},
    };
    for (const Case& each : cases) {
        host.ClearRecord();
        EXPECT_EQ(device.TrimForCcfg(each.address, each.length), each.trimmed) << each.name;
        EXPECT_EQ(host.messages, each.message == nullptr ? Texts{} : Texts{each.message}) << each.name;
    }
    device.verboseState = 0;
    host.ClearRecord();
    EXPECT_EQ(device.TrimForCcfg(kCcfg, 1), 0U);
    EXPECT_EQ(device.TrimForCcfg(0x1'F000, 0x1000), 0xFA8U);
    EXPECT_TRUE(host.messages.empty());
}

TEST_F(KeepCcfg, RestoresWhenTheRequestEndedAboveItsStart) {
    const std::string restore = "command=4 addr=0x0001FFA8 length=88 crc=0x00000000 block=";
    struct Case {
        const char* name;
        std::uint32_t address, length;
        Texts commands;
    };
    const Case cases[] = {
        {"ends at the byte before", 0x1'F000, 0xFA8, {"command=3 addr=0x0001F000 length=4008 crc=0x00000000 block=0"}},
        {"ends at its first byte", 0x1'F000, 0xFA9, {"command=3 addr=0x0001F000 length=4008 crc=0x00000000 block=0"}},
        {"ends at its second byte",
         0x1'F000,
         0xFAA,
         {"command=3 addr=0x0001F000 length=4008 crc=0x00000000 block=0", restore + "1"}},
        {"covers it",
         0x1'F000,
         0x1000,
         {"command=3 addr=0x0001F000 length=4008 crc=0x00000000 block=0", restore + "1"}},
        {"one byte at its start", kCcfg, 1, {}},
        {"two bytes at its start", kCcfg, 2, {restore + "0"}},
        {"one byte at its second byte", kCcfg + 1, 1, {restore + "0"}},
        // The last byte of an empty request is the one before it.
        {"empty at its start", kCcfg, 0, {}},
        {"empty at its second byte", kCcfg + 1, 0, {}},
        {"empty at its third byte", kCcfg + 2, 0, {restore + "0"}},
        {"empty at address 0", 0, 0, {restore + "0"}},
    };
    for (const Case& each : cases) {
        OpenLumoD other;
        other.host.properties["KeepCcfgSetting"] = "1";
        other.host.memory.SetBytes(kCcfg, {1, 2, 3});
        const std::vector<std::uint8_t> before = other.host.memory.Bytes(kCcfg, 88);
        const std::vector<std::uint8_t> data(each.length, 0x11);
        other.device.ProgramData(data.data(), each.address, each.length);
        EXPECT_EQ(TextsOf(other.flashloader.taken), each.commands) << each.name;
        if (!each.commands.empty() && each.commands.back().find("command=4") == 0) {
            EXPECT_EQ(other.host.memory.Bytes(kCcfg, 88), before) << each.name;
            EXPECT_EQ(other.flashloader.taken.back().data, before) << each.name;
        }
    }
}

TEST_F(KeepCcfg, ARestoreIsPostedAndNotWaitedFor) {
    device.ReadCcfg();
    target.LoadFlashloader();

    device.RestoreCcfg();

    EXPECT_EQ(TextsOf(Without(host.calls, {Slot::GetProperty})),
              (Texts{"WriteMemory 0x20001000 88*1", "WriteMemory 0x20000200 20*1"}));
    EXPECT_EQ(device.currentBlock, 1U);
}

TEST_F(KeepCcfg, TellsTheRestoreInVerboseModeOnly) {
    device.ReadCcfg();
    target.LoadFlashloader();
    device.RestoreCcfg();
    EXPECT_TRUE(host.messages.empty());
    target.SetVerbose();
    host.ClearRecord();
    device.RestoreCcfg();
    EXPECT_EQ(TextsOf(Without(host.calls, {Slot::GetProperty})),
              (Texts{"PrintMessage Keep CCFG: Programming CCFG back to target (addr=0x0001FFA8, length=88|0x58).",
                     "WriteMemory 0x20002000 88*1", "WriteMemory 0x20000218 20*1"}));
}

TEST_F(KeepCcfg, NothingHeldOrTooMuchIsNotRestored) {
    device.RestoreCcfg();
    device.ccfgData->data.assign(4097, 0);
    device.RestoreCcfg();
    EXPECT_TRUE(host.calls.empty());

    device.ccfgData->data.assign(4096, 0);
    device.RestoreCcfg();
    EXPECT_EQ(target.flashloader.taken.size(), 1U);
}

TEST_F(KeepCcfg, ARestoreLoadsTheFlashloaderIfNeeded) {
    device.ReadCcfg();
    device.RestoreCcfg();
    EXPECT_EQ(target.flashloader.loads, 1U);
}

TEST_F(KeepCcfg, ExplainsABufferThatCannotBeWrittenForTheRestore) {
    struct Case {
        std::uint32_t block;
        const char* message;
    };
    const Case cases[] = {
        {0,
         "  Failed to write data to temporary buffer in RAM when restoring CCFG in FLASH memory. addr=0x20001000, "
         "writeLength=88(0x58), bufIdx=0\nError: 100%s lost\n"},
        {1,
         "  Failed to write data to temporary buffer in RAM when restoring CCFG in FLASH memory. addr=0x20002000, "
         "writeLength=88(0x58), bufIdx=1\nError: 100%s lost\n"},
    };
    device.ReadCcfg();
    target.LoadFlashloader();
    for (const Case& each : cases) {
        host.ClearRecord();
        device.currentBlock = each.block;
        host.FailNth(Slot::WriteMemory, 1, "100%s lost");
        EXPECT_EQ(ThrownText<std::runtime_error>([&] { device.RestoreCcfg(); }),
                  "Failed to write data to temporary buffer in RAM when restoring CCFG in FLASH memory.");
        EXPECT_EQ(host.messages, Texts{each.message});
        EXPECT_EQ(device.currentBlock, each.block);
    }
}

TEST_F(KeepCcfg, ARestoreThatCannotBePostedFailsLikeAnyPost) {
    device.ReadCcfg();
    target.LoadFlashloader();
    host.FailNth(Slot::WriteMemory, 2, "lost");

    EXPECT_EQ(ThrownText<std::runtime_error>([&] { device.RestoreCcfg(); }),
              "Failed to write configuration block to target.");

    EXPECT_EQ(device.currentBlock, 0U);
}

TEST_F(KeepCcfg, SurvivesABankEraseAndTheProgrammingAfterIt) {
    host.properties["FlashEraseSetting"] = "All Unprotected Sectors";
    host.memory.SetBytes(kCcfg, {1, 2, 3});
    const std::vector<std::uint8_t> before = host.memory.Bytes(kCcfg, 88);

    Program(0x1'F000, 0x1000);

    EXPECT_EQ(Commands(), (Texts{"command=1 addr=0x00000000 length=0 crc=0x00000000 block=0",
                                 "command=4 addr=0x0001FFA8 length=88 crc=0x00000000 block=1",
                                 "command=2 addr=0x0001F000 length=4008 crc=0x00000000 block=0",
                                 "command=4 addr=0x0001FFA8 length=88 crc=0x00000000 block=1"}));
    EXPECT_EQ(host.memory.Bytes(kCcfg, 88), before);
}

TEST_F(KeepCcfg, ARequestOutsideIsTouchedInNoWay) {
    Program(0x1000, 5000);

    EXPECT_EQ(Commands(), (Texts{"command=3 addr=0x00001000 length=4096 crc=0x00000000 block=0",
                                 "command=3 addr=0x00002000 length=904 crc=0x00000000 block=1"}));
}

TEST(KeepCcfgSweep, EndsWithTheHostsTextOrThatOfTheStep) {
    std::size_t writes = 0;
    const std::vector<std::uint8_t> data(0x1000, 0x11);
    SweepHostErrors(
        [](OpenLumoD& target) {
            target.SetVerbose();
            target.host.properties["KeepCcfgSetting"] = "1";
        },
        [&](OpenLumoD& target) { target.device.ProgramData(data.data(), 0x1'F000, 0x1000); },
        [&](Slot slot) -> std::string {
            constexpr const char* kOfWrites[] = {
                "Failed to write data to temporary buffer in RAM before programming device FLASH memory.",
                "Failed to write configuration block to target.",
                "Failed to write data to temporary buffer in RAM when restoring CCFG in FLASH memory.",
                "Failed to write configuration block to target."};
            switch (slot) {
                case Slot::LoadProgram:
                    return "Failed to write flashloader to device SRAM.";
                case Slot::WriteMemory:
                    return kOfWrites[writes++];
                default:
                    return kPlannedError;
            }
        });
    EXPECT_EQ(writes, 4U);
}

}  // namespace
}  // namespace flash::test
