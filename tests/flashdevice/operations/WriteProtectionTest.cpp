// The protection words.
#include "flashdevice/operations/WriteProtection.h"

#include <gtest/gtest.h>

#include "tests/support/ConnectedChip.h"

namespace flash::test {
namespace {

std::vector<bool> AllBut(std::size_t sectorCount, std::initializer_list<std::size_t> named) {
    std::vector<bool> sectors(sectorCount, true);
    for (const std::size_t sector : named) {
        sectors[sector] = false;
    }
    return sectors;
}

TEST(ProtectSectors, ClearsTheBitOfEachNamedSector) {
    struct Case {
        const char* name;
        std::vector<bool> sectors;
        ProtectionWords words;
    };
    const Case cases[] = {
        {"none", AllBut(128, {}), {0xFFFF'FFFF, 0xFFFF'FFFF}},
        {"0 and 33", AllBut(44, {0, 33}), {0xFFFF'FFFE, 0xFFFF'FFFD}},
        {"31 and 32", AllBut(44, {31, 32}), {0x7FFF'FFFF, 0xFFFF'FFFE}},
        {"63", AllBut(64, {63}), {0xFFFF'FFFF, 0x7FFF'FFFF}},
        {"64 folds onto 32", AllBut(128, {64}), {0xFFFF'FFFF, 0xFFFF'FFFE}},
        {"127 folds onto 63", AllBut(128, {127}), {0xFFFF'FFFF, 0x7FFF'FFFF}},
        {"96 folds onto 32", AllBut(128, {96}), {0xFFFF'FFFF, 0xFFFF'FFFE}},
        {"all", std::vector<bool>(64, false), {0, 0}},
        {"no sectors", {}, {0xFFFF'FFFF, 0xFFFF'FFFF}},
    };
    for (const Case& each : cases) {
        ProtectionWords words = {0xFFFF'FFFF, 0xFFFF'FFFF};
        ProtectSectors(words, each.sectors);
        EXPECT_EQ(words, each.words) << each.name;
    }
}

TEST(ProtectionBytes, AreBothWordsLeastSignificantByteFirst) {
    EXPECT_EQ(ProtectionBytes({0x1122'3344, 0x5566'7788}),
              (std::vector<std::uint8_t>{0x44, 0x33, 0x22, 0x11, 0x88, 0x77, 0x66, 0x55}));
}

class WriteProtection : public testing::Test {
protected:
    // The words in flash once a closing phase has protected these sectors.
    ProtectionWords Protect(InitializedChip& on, const std::string& sectors) {
        const std::uint32_t address = on.FlashEnd() - kProtectionFromEnd;
        on.host.memory.Fill(address, 0xFF, 8);
        on.SwitchOn("WriteProtectionToggle");
        on.Property("WriteProtectionText") = sectors;
        EXPECT_EQ(on.Notify(2), "");
        return {on.host.memory.Word(address), on.host.memory.Word(address + 4)};
    }

    InitializedChip chip{kLumoD};
};

TEST_F(WriteProtection, IsOffForAnyTextBut1) {
    chip.host.properties.erase("WriteProtectionText");
    chip.SwitchOn("DisableCpuDap");  // a change that leads past the question
    for (const char* text : {"0", "true", "01", ""}) {
        chip.Property("WriteProtectionToggle") = text;
        EXPECT_EQ(chip.Notify(2), "") << text;
    }
}

TEST_F(WriteProtection, NeedsItsList) {
    chip.SwitchOn("WriteProtectionToggle");
    chip.host.properties.erase("WriteProtectionText");

    EXPECT_EQ(chip.Notify(2), "Unknown property \"WriteProtectionText\"");
}

TEST_F(WriteProtection, NeverGivesABitBack) {
    InitializedChip second(kLumoF);
    EXPECT_EQ(Protect(second, "0,33"), (ProtectionWords{0xFFFF'FFFE, 0xFFFF'FFFD}));

    second.Property("WriteProtectionToggle") = "0";
    for (const std::int64_t phase : {0, 1, 2}) {
        EXPECT_EQ(second.Notify(phase), "");
    }

    EXPECT_EQ(Protect(second, "1"), (ProtectionWords{0xFFFF'FFFC, 0xFFFF'FFFD}));
}

TEST_F(WriteProtection, ABadListChangesNothing) {
    chip.SwitchOn("WriteProtectionToggle");
    chip.Property("WriteProtectionText") = "0,33";
    EXPECT_EQ(chip.Notify(2), "Given page is out of range: \"33\"\nNote that the number of available pages is 32\n");

    EXPECT_EQ(Protect(chip, "1"), (ProtectionWords{0xFFFF'FFFD, 0xFFFF'FFFF}));
}

}  // namespace
}  // namespace flash::test
