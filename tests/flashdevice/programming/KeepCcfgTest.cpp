// Keeping the customer configuration area: saved once, kept out of the data, written back.
#include <gtest/gtest.h>

#include <algorithm>

#include "tests/support/ConnectedChip.h"

namespace flash::test {
namespace {

constexpr std::uint32_t kCcfg = 0x1'FFA8;  // of the usual chip: 88 bytes
constexpr char kInvalidSize[] = "Keep CCFG: Device CCFG size is invalid, ignoring option.";
constexpr char kSizeRead[] = "ReadMemory 0x50003FB0 1*4";

// From the start of the last sector to CCFG.
const std::string kTrimmed = Posted(3, 0x1'F000, 4008, 0);

std::string Restore(std::uint32_t block) { return Posted(4, kCcfg, 88, block); }

struct KeepingChip : InitializedChip {
    explicit KeepingChip(const ChipModel& chipModel = kLumoD, std::uint32_t sectorCount = 0)
        : InitializedChip(chipModel, sectorCount == 0 ? chipModel.reference.sectorCount : sectorCount) {
        SwitchOn("KeepCcfgSetting");
    }
    std::string Program(std::uint32_t address, std::size_t length) { return Write({address, Bytes(length, 0x11)}); }
    void SetSizeField(std::uint32_t size) { host.memory.SetWord(FlashEnd() - kCcfgSizeWordFromEnd, size << 16 | 1); }
    Texts Reads() const { return TextsOf(Only(host.calls, {Service::ReadMemory})); }
};

TEST(KeepCcfg, IsOnOnlyForTheText1) {
    KeepingChip chip;
    for (const char* text : {"0", "true", "1 ", ""}) {
        chip.Property("KeepCcfgSetting") = text;
        EXPECT_EQ(chip.Program(0, 16), "");
    }
    chip.host.properties.erase("KeepCcfgSetting");
    EXPECT_EQ(chip.Program(0, 16), "");

    EXPECT_EQ(std::ranges::count(chip.Reads(), kSizeRead), 0);
}

TEST(KeepCcfg, FollowsTheChipsSizeAndGeneration) {
    struct Case {
        const ChipModel& model;
        std::uint32_t sectors;
        Texts reads;
        std::string restore;
    };
    const Case cases[] = {
        {kLumoD, 32, {kSizeRead, "ReadMemory 0x0001FFA8 88*1"}, Posted(4, 0x1'FFA8, 88, 1)},
        {kLumoD, 16, {kSizeRead, "ReadMemory 0x0000FFA8 88*1"}, Posted(4, 0xFFA8, 88, 1)},
        {kLumoF, 44, {"ReadMemory 0x50004FB0 1*4", "ReadMemory 0x00057FA8 88*1"}, Posted(4, 0x5'7FA8, 88, 1)},
    };
    for (const Case& each : cases) {
        KeepingChip chip(each.model, each.sectors);
        const std::uint32_t size = chip.geometry.sectorSize;
        EXPECT_EQ(chip.Program(chip.geometry.LastSector(), size), "");
        const Texts reads = chip.Reads();
        EXPECT_EQ(Texts(reads.begin(), reads.begin() + 2), each.reads);
        EXPECT_EQ(chip.Commands(), (Texts{Posted(3, chip.geometry.LastSector(), size - 88, 0), each.restore}));
    }
}

TEST(KeepCcfg, TakesSizesUpToASector) {
    struct Case {
        std::uint32_t size;
        const char* message;
    };
    const Case cases[] = {
        {0, kInvalidSize},
        {1, "Keep CCFG: Reading CCFG from target (addr = 0x0001FFFF, length = 1)"},
        {88, "Keep CCFG: Reading CCFG from target (addr = 0x0001FFA8, length = 88)"},
        {4095, "Keep CCFG: Reading CCFG from target (addr = 0x0001F001, length = 4095)"},
        {4096, "Keep CCFG: Reading CCFG from target (addr = 0x0001F000, length = 4096)"},
        {4097, kInvalidSize},
        {0x8000, kInvalidSize},
        {0xFFFF, kInvalidSize},
    };
    for (const Case& each : cases) {
        KeepingChip chip;
        chip.StartVerbosely();
        chip.SetSizeField(each.size);
        EXPECT_EQ(chip.Program(0, 16), "");
        EXPECT_EQ(chip.host.messages.at(0), each.message);
        EXPECT_EQ(chip.Reads().size(), each.message == kInvalidSize ? 3U : 4U) << each.size;
    }
}

TEST(KeepCcfg, OfAWholeSectorIsRestoredWhole) {
    KeepingChip chip;
    chip.SetSizeField(4096);
    const Bytes before = chip.FlashAt(0x1'F000, 0x1000);

    EXPECT_EQ(chip.Program(0x1'E000, 0x2000), "");

    EXPECT_EQ(chip.Commands(), (Texts{Posted(3, 0x1'E000, 4096, 0), Posted(4, 0x1'F000, 4096, 1)}));
    EXPECT_EQ(chip.FlashAt(0x1'F000, 0x1000), before);
}

TEST(KeepCcfg, TellsWhatItSavesBeforeItIsRead) {
    KeepingChip chip;
    chip.StartVerbosely();

    ASSERT_EQ(chip.Program(0, 16), "");

    const Texts calls = chip.Calls();
    EXPECT_EQ(Texts(calls.begin(), calls.begin() + 3),
              (Texts{kSizeRead, "PrintMessage Keep CCFG: Reading CCFG from target (addr = 0x0001FFA8, length = 88)",
                     "ReadMemory 0x0001FFA8 88*1"}));
}

TEST(KeepCcfg, SaysNothingWithoutVerboseMode) {
    KeepingChip chip;
    ASSERT_EQ(chip.Program(0x1'F000, 0x1000), "");
    ASSERT_EQ(chip.Program(kCcfg, 88), "");
    ASSERT_EQ(chip.Notify(0), "");
    chip.SetSizeField(0);
    ASSERT_EQ(chip.Program(0x1'F000, 16), "");

    EXPECT_TRUE(chip.host.messages.empty());
}

TEST(KeepCcfg, AnInvalidSizeIsTriedAgainAtTheNextRequest) {
    KeepingChip chip;
    chip.SetSizeField(0);
    ASSERT_EQ(chip.Program(0x1'F000, 0x1000), "");
    EXPECT_EQ(chip.Commands(), Texts{Posted(3, 0x1'F000, 4096, 0)});

    chip.SetSizeField(88);  // the request erased it
    ASSERT_EQ(chip.Program(0x1'F000, 0x1000), "");

    EXPECT_EQ(chip.Commands().back(), Restore(0));
}

TEST(KeepCcfg, HoldsNothingAfterAFailingRead) {
    for (const std::size_t n : {1U, 2U}) {
        KeepingChip chip;
        chip.host.failures.FailNth(Service::ReadMemory, n, "lost");
        EXPECT_EQ(chip.Program(0, 16), "lost");
        EXPECT_EQ(chip.host.flashloader.loads, 0U);

        EXPECT_EQ(chip.Program(0x1'F000, 0x1000), "");
        EXPECT_EQ(chip.Commands(), (Texts{kTrimmed, Restore(1)})) << "read again";
    }
}

TEST(KeepCcfg, ReadsOnceForAllRequestsUntilTheNextPhase) {
    KeepingChip chip;
    ASSERT_EQ(chip.Program(0, 16), "");
    ASSERT_EQ(chip.Program(0x1000, 16), "");
    EXPECT_EQ(std::ranges::count(chip.Reads(), kSizeRead), 1);

    ASSERT_EQ(chip.Notify(0), "");
    chip.host.memory.SetBytes(kCcfg, {1, 2, 3});
    ASSERT_EQ(chip.Program(0x1'F000, 0x1000), "");
    ASSERT_EQ(chip.Notify(0), "");

    EXPECT_EQ(std::ranges::count(chip.Reads(), kSizeRead), 2);
    chip.host.HaltTarget();
    EXPECT_EQ(chip.FlashAt(kCcfg, 3), (Bytes{1, 2, 3}));
}

TEST(KeepCcfg, TrimsARangeThatReachesIntoTheSavedArea) {
    struct Case {
        const char* name;
        std::uint32_t address;
        std::size_t length;
        const char* trimming;  // told; null: none
        Texts commands;        // of the data and the restore
    };
    const Case cases[] = {
        {"ends at the byte before", 0x1'F000, 0xFA8, nullptr, {kTrimmed}},
        {"ends at its first byte",
         0x1'F000,
         0xFA9,
         "addr=0x0001F000, length=4009 … reduced to 4008 bytes.",
         {kTrimmed}},
        {"ends at its second byte",
         0x1'F000,
         0xFAA,
         "addr=0x0001F000, length=4010 … reduced to 4008 bytes.",
         {kTrimmed, Restore(1)}},
        {"covers it",
         0x1'F000,
         0x1000,
         "addr=0x0001F000, length=4096 … reduced to 4008 bytes.",
         {kTrimmed, Restore(1)}},
        {"starts one byte before",
         kCcfg - 1,
         2,
         "addr=0x0001FFA7, length=2 … reduced to 1 bytes.",
         {Posted(3, kCcfg - 1, 1, 0)}},
        {"one byte at its start", kCcfg, 1, "addr=0x0001FFA8, length=1 … reduced to 0.", {}},
        {"two bytes at its start", kCcfg, 2, "addr=0x0001FFA8, length=2 … reduced to 0.", {Restore(0)}},
        {"one byte at its second byte", kCcfg + 1, 1, "addr=0x0001FFA9, length=1 … reduced to 0.", {Restore(0)}},
        {"starts beyond flash", 0x2'0000, 4, "addr=0x00020000, length=4 … reduced to 0.", {Restore(0)}},
        {"far away", 0, 0x1000, nullptr, {Posted(3, 0, 4096, 0)}},
        // The last byte of an empty request is the one before it.
        {"empty at its start", kCcfg, 0, "addr=0x0001FFA8, length=0 … reduced to 0.", {}},
        {"empty at its second byte", kCcfg + 1, 0, "addr=0x0001FFA9, length=0 … reduced to 0.", {}},
        {"empty at its third byte", kCcfg + 2, 0, "addr=0x0001FFAA, length=0 … reduced to 0.", {Restore(0)}},
        {"empty at address 0", 0, 0, nullptr, {Restore(0)}},
    };
    for (const Case& each : cases) {
        KeepingChip chip;
        chip.StartVerbosely();
        const Bytes before = chip.FlashAt(kCcfg, 88);
        EXPECT_EQ(chip.Program(each.address, each.length), "") << each.name;
        EXPECT_EQ(chip.Commands(), each.commands) << each.name;
        std::string trimming =
            each.trimming == nullptr ? "none" : std::string("Keep CCFG: Range ") + each.trimming + "\n";
        if (const std::size_t gap = trimming.find("…"); gap != std::string::npos) {
            trimming.replace(gap, std::string("…").size(), "is overlapping stored CCFG. Length");
        }
        const auto told = std::ranges::find_if(
            chip.host.messages, [](const std::string& text) { return text.starts_with("Keep CCFG: Range"); });
        EXPECT_EQ(told == chip.host.messages.end() ? "none" : *told, trimming) << each.name;
        chip.host.HaltTarget();
        if (!each.commands.empty() && each.commands.back() == Restore(1)) {
            EXPECT_EQ(chip.FlashAt(kCcfg, 88), before) << each.name;
        }
    }
}

TEST(KeepCcfg, ARestoreIsToldPostedAndNotWaitedFor) {
    KeepingChip chip;
    chip.StartVerbosely();
    ASSERT_EQ(chip.Program(0, 0), "");  // an empty request at address 0 only restores
    chip.host.ForgetCalls();

    ASSERT_EQ(chip.Program(0, 0), "");

    EXPECT_EQ(chip.Calls(),
              (Texts{"ReadMemory 0x20000210 1*4",
                     "PrintMessage Keep CCFG: Programming CCFG back to target (addr=0x0001FFA8, length=88|0x58).",
                     "WriteMemory 0x20004000 88*1", "WriteMemory 0x20000218 20*1"}));
}

TEST(KeepCcfg, ExplainsABufferThatCannotBeWrittenForTheRestore) {
    constexpr char kFailed[] = "Failed to write data to temporary buffer in RAM when restoring CCFG in FLASH memory.";
    struct Case {
        std::size_t length;  // of a request that ends with flash
        std::size_t n;       // of the writes
        const char* details;
    };
    const Case cases[] = {
        {88, 1, " addr=0x20001000, writeLength=88(0x58), bufIdx=0\nError: 100%s lost\n"},
        {0x1000, 3, " addr=0x20004000, writeLength=88(0x58), bufIdx=1\nError: 100%s lost\n"},
    };
    for (const Case& each : cases) {
        KeepingChip chip;
        chip.host.failures.FailNth(Service::WriteMemory, each.n, "100%s lost");
        EXPECT_EQ(chip.Program(0x2'0000 - static_cast<std::uint32_t>(each.length), each.length), kFailed);
        EXPECT_EQ(chip.host.messages, Texts{std::string("  ") + kFailed + each.details});
    }
}

TEST(KeepCcfg, ARestoreThatCannotBePostedFailsLikeAnyPost) {
    KeepingChip chip;
    chip.host.failures.FailNth(Service::WriteMemory, 2, "lost");
    EXPECT_EQ(chip.Program(kCcfg, 88), "Failed to write configuration block to target.");
}

TEST(KeepCcfg, SurvivesABankEraseAndTheProgrammingAfterIt) {
    KeepingChip chip;
    chip.SetErase(kBank);
    const Bytes before = chip.FlashAt(kCcfg, 88);

    ASSERT_EQ(chip.Program(0x1'F000, 0x1000), "");
    chip.host.HaltTarget();

    EXPECT_EQ(chip.Commands(), (Texts{Posted(1, 0, 0, 0), Restore(1), Posted(2, 0x1'F000, 4008, 0), Restore(1)}));
    EXPECT_EQ(chip.FlashAt(kCcfg, 88), before);
    EXPECT_EQ(std::ranges::count(chip.Reads(), kSizeRead), 1) << "the copy in hand is restored";
}

}  // namespace
}  // namespace flash::test
