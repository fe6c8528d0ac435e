// Flash and RAM sizes from the chip's registers, and the texts published to the host.
#include <gtest/gtest.h>

#include <stdexcept>

#include "tests/support/OpenTarget.h"

namespace flash::test {
namespace {

constexpr std::uint32_t kSectorCountRegister = 0x4003'002C;
constexpr std::uint32_t kRamSizeRegister = 0x4008'2250;

TEST(FlashSize, IsTheClampedSectorCountTimesTheSectorSize) {
    struct Case {
        std::uint32_t word, sectors;
    };
    const Case cases[] = {
        {0, 0},     {1, 1},     {0x20, 32},  {0x120, 32},        {44, 44},         {127, 127},       {128, 128},
        {129, 128}, {200, 128}, {0xFF, 128}, {0xFFFF'FFFF, 128}, {0xFFFF'FF00, 0}, {0x8000'0001, 1},
    };
    for (const Case& each : cases) {
        FakeHost host;
        host.memory.SetWord(kSectorCountRegister, each.word);
        OpenDor first("LumoD1", &host);
        OpenFen second("LumoF2", &host);
        first.MeasureFlash();
        second.MeasureFlash();
        EXPECT_EQ(first.sectorCount, each.sectors) << each.word;
        EXPECT_EQ(first.flashSize, each.sectors * 4096) << each.word;
        EXPECT_EQ(second.sectorCount, each.sectors) << each.word;
        EXPECT_EQ(second.flashSize, each.sectors * 8192) << each.word;
    }
}

TEST(MeasuredFlashSize, IsMeasuredOnceAtTheFirstNeed) {
    FakeHost host;
    host.memory.SetWord(kSectorCountRegister, 32);
    OpenDor device("LumoD1", &host);

    EXPECT_EQ(device.MeasuredFlashSize(), 0x2'0000U);
    host.memory.SetWord(kSectorCountRegister, 16);
    EXPECT_EQ(device.MeasuredFlashSize(), 0x2'0000U);

    EXPECT_EQ(TextsOf(host.calls), Texts{"ReadMemory 0x4003002C 1*4"});
    EXPECT_EQ(device.sectorCount, 32U);
}

TEST(MeasuredFlashSize, OfNoSectorsIsMeasuredEachTime) {
    FakeHost host;
    OpenDor device("LumoD1", &host);

    EXPECT_EQ(device.MeasuredFlashSize(), 0U);
    EXPECT_EQ(device.MeasuredFlashSize(), 0U);

    EXPECT_EQ(host.CountOf(Slot::ReadMemory), 2U);
}

TEST(MeasuredFlashSize, FailsWithTheHostsText) {
    FakeHost host;
    host.FailNth(Slot::ReadMemory, 1, kPlannedError);
    OpenDor device("LumoD1", &host);

    EXPECT_EQ(ThrownText<std::runtime_error>([&] { device.MeasuredFlashSize(); }), kPlannedError);

    EXPECT_EQ(device.flashSize, 0U);
}

TEST(ReadRamSize, TakesTheLowTwoBits) {
    struct Case {
        std::uint32_t word, ramSize;
    };
    const Case cases[] = {{0, 0x8000}, {1, 0xC000}, {0xFFFF'FFFE, 0x1'0000}, {3, 0x1'4000}, {4, 0x8000}};
    for (const Case& each : cases) {
        FakeHost host;
        host.memory.SetWord(kRamSizeRegister, each.word);
        OpenFen device("LumoF2", &host);
        device.ReadRamSize();
        EXPECT_EQ(device.ramSize, each.ramSize) << each.word;
        EXPECT_EQ(TextsOf(host.calls), Texts{"ReadMemory 0x40082250 1*4"});
    }
}

TEST(ReadRamSize, FailsWithTheHostsText) {
    FakeHost host;
    host.FailNth(Slot::ReadMemory, 1, kPlannedError);
    OpenFen device("LumoF2", &host);

    EXPECT_EQ(ThrownText<std::runtime_error>([&] { device.ReadRamSize(); }), kPlannedError);

    EXPECT_EQ(device.ramSize, 0U);
}

TEST(PublishDeviceInfo, FormatsSizesAndRevision) {
    struct Case {
        std::uint32_t flashSize, sectorCount, ramSize;
        const char* flashText;
        const char* ramText;
    };
    const Case cases[] = {
        {0x2'0000, 32, 0x5000, "128 KB (32 sectors)", "20 KB"},
        {0x5'8000, 44, 0x2800, "352 KB (44 sectors)", "10 KB"},
        {524288, 128, 0x800, "512 KB (128 sectors)", "2 KB"},
        {1048576, 128, 1023, "1024 KB (128 sectors)", "0 KB"},
        {0, 0, 0, "0 KB (0 sectors)", "0 KB"},
        {0xFFFF'FFFF, 1, 2047, "4194303 KB (1 sectors)", "1 KB"},
    };
    for (const Case& each : cases) {
        FakeHost host;
        OpenDor device("LumoD1", &host);
        device.flashSize = each.flashSize;
        device.sectorCount = each.sectorCount;
        device.ramSize = each.ramSize;
        device.PublishDeviceInfo();
        EXPECT_EQ(TextsOf(host.calls), (Texts{std::string("SetProperty DeviceInfoFlashSize=") + each.flashText,
                                              std::string("SetProperty DeviceInfoRAMSize=") + each.ramText,
                                              "SetProperty DeviceInfoRevision=- (0.0)"}));
    }
}

TEST(PublishDeviceInfo, ShowsTheRevision) {
    struct Case {
        const char* name;
        std::uint32_t major, minor;
        const char* text;
    };
    const Case cases[] = {
        {"-", 2, 1, "- (2.1)"}, {"RevB", 2, 0, "RevB (2.0)"}, {"", 10, 4294967295U, " (10.4294967295)"}};
    for (const Case& each : cases) {
        FakeHost host;
        OpenDor device("LumoD1", &host);
        device.revisionName = each.name;
        device.revisionMajor = each.major;
        device.revisionMinor = each.minor;
        device.PublishDeviceInfo();
        EXPECT_EQ(host.properties["DeviceInfoRevision"], each.text);
    }
}

TEST(PublishDeviceInfo, StopsAtThePropertyThatTheHostRefuses) {
    for (std::size_t n = 1; n <= 3; ++n) {
        FakeHost host;
        OpenDor device("LumoD1", &host);
        host.FailNth(Slot::SetProperty, n, kPlannedError);
        EXPECT_EQ(ThrownText<std::runtime_error>([&] { device.PublishDeviceInfo(); }), kPlannedError);
        EXPECT_EQ(host.calls.size(), n);
    }
}

}  // namespace
}  // namespace flash::test
