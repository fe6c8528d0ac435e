// Flash and RAM sizes from the chip's registers, and the texts published to the host.
#include <gtest/gtest.h>

#include "tests/support/ConnectedChip.h"

namespace flash::test {
namespace {

constexpr std::uint32_t kSectorCountRegister = 0x4003'002C;

std::string IsInFlash(ConnectedChip& chip, std::uint64_t address) {
    bool isInFlash = false;
    const char* error = chip.device->IsAddressInFlash(address, &isInFlash);
    return error != nullptr ? error : isInFlash ? "true" : "false";
}

TEST(FlashSize, IsTheClampedSectorCountTimesTheSectorSize) {
    struct Case {
        std::uint32_t word;
        const char* first;
        const char* second;
    };
    const Case cases[] = {
        {0, "0 KB (0 sectors)", "0 KB (0 sectors)"},
        {1, "4 KB (1 sectors)", "8 KB (1 sectors)"},
        {0x20, "128 KB (32 sectors)", "256 KB (32 sectors)"},
        {0x120, "128 KB (32 sectors)", "256 KB (32 sectors)"},
        {127, "508 KB (127 sectors)", "1016 KB (127 sectors)"},
        {128, "512 KB (128 sectors)", "1024 KB (128 sectors)"},
        {129, "512 KB (128 sectors)", "1024 KB (128 sectors)"},
        {0xFFFF'FFFF, "512 KB (128 sectors)", "1024 KB (128 sectors)"},
        {0xFFFF'FF00, "0 KB (0 sectors)", "0 KB (0 sectors)"},
    };
    for (const Case& each : cases) {
        ConnectedChip first(kLumoD);
        ConnectedChip second(kLumoF);
        first.host.memory.SetWord(kSectorCountRegister, each.word);
        second.host.memory.SetWord(kSectorCountRegister, each.word);
        EXPECT_EQ(first.Initialize(), "");
        EXPECT_EQ(second.Initialize(), "");
        EXPECT_EQ(first.Property("DeviceInfoFlashSize"), each.first) << each.word;
        EXPECT_EQ(second.Property("DeviceInfoFlashSize"), each.second) << each.word;
    }
}

TEST(FlashSize, IsMeasuredOnceAtTheFirstNeed) {
    ConnectedChip chip(kLumoD);

    EXPECT_EQ(IsInFlash(chip, 0x2'0000), "true");
    chip.host.memory.SetWord(kSectorCountRegister, 16);
    EXPECT_EQ(IsInFlash(chip, 0x2'0000), "true");
    EXPECT_EQ(IsInFlash(chip, 0x2'0001), "false");

    EXPECT_EQ(TextsOf(chip.host.calls), Texts{"ReadMemory 0x4003002C 1*4"});
}

TEST(FlashSize, OfNoSectorsIsMeasuredEachTime) {
    ConnectedChip chip(kLumoD, 0);

    EXPECT_EQ(IsInFlash(chip, 0), "true");
    EXPECT_EQ(IsInFlash(chip, 1), "false");

    EXPECT_EQ(chip.host.CountOf(Service::ReadMemory), 2U);
}

TEST(FlashSize, StaysUnmeasuredWhenItsRegisterCannotBeRead) {
    for (const bool isStartUp : {false, true}) {
        ConnectedChip chip(kLumoD);
        chip.host.failures.FailNth(Service::ReadMemory, 1, "lost");
        EXPECT_EQ(isStartUp ? chip.Initialize() : IsInFlash(chip, 0), "lost");

        EXPECT_EQ(IsInFlash(chip, 0x2'0000), "true");

        EXPECT_EQ(chip.host.CountOf(Service::ReadMemory), 2U);
    }
}

TEST(DeviceInfo, ShowsTheRevision) {
    struct Case {
        const char* table;
        const char* text;
    };
    const Case cases[] = {
        {"0:2.1:RevA", "- (2.1)"}, {"1:2.0:RevB", "RevB (2.0)"}, {"1:10.4294967295::", " (10.4294967295)"}};
    for (const Case& each : cases) {
        ConnectedChip chip(kLumoD);
        chip.Property("DeviceInfoRevisionTranslation") = each.table;
        EXPECT_EQ(chip.Initialize(), "");
        EXPECT_EQ(chip.Property("DeviceInfoRevision"), each.text);
    }
}

}  // namespace
}  // namespace flash::test
