// What lasts, as bytes: the layout pinned by hand, back again, and every kind of damage refused.
#include "chip/SavedState.h"

#include <gmock/gmock.h>

#include "tests/chip/ChipRig.h"

namespace flash::chip {
namespace {

using testing::HasSubstr;

Settings SettingsUnlikeTheDefaults() {
    Settings settings;
    settings.generation = Generation::LumoF;
    settings.sectorCount = 3;
    settings.ramSizeCode = 2;
    settings.identificationCode = 0x2123'4567;
    settings.primaryIeeeAddress = {1, 2, 3, 4, 5, 6, 7, 8};
    settings.primaryBleAddress = {9, 10, 11, 12, 13, 14};
    settings.timing = {24'000'000,
                       std::chrono::milliseconds(5),
                       std::chrono::microseconds(6),
                       std::chrono::milliseconds(7),
                       std::chrono::nanoseconds(8),
                       9,
                       std::chrono::microseconds(10)};
    settings.seed = 0x1122'3344'5566'7788;
    settings.initialFlash = {0xAA, 0xBB};
    return settings;
}

std::string ErrorOf(const std::vector<std::uint8_t>& state) {
    try {
        VirtualChip::FromSavedState(state);
    } catch (const ChipError& error) {
        return error.what();
    }
    return "no error";
}

TEST(SavedState, ComesBackAsItWas) {
    const VirtualChip chip(SettingsUnlikeTheDefaults());

    const VirtualChip copy = VirtualChip::FromSavedState(chip.SaveState());

    EXPECT_EQ(copy.GetSettings(), chip.GetSettings());
    EXPECT_TRUE(std::ranges::equal(copy.Flash(), chip.Flash()));
    EXPECT_EQ(copy.PeekWord(0), 0xFFFF'BBAAU);
    EXPECT_EQ(copy.PeekWord(kPrimaryBleAddress), 0x0C0B'0A09U);
    EXPECT_EQ(copy.SaveState(), chip.SaveState());
}

TEST(SavedState, HasTheDocumentedLayout) {
    const std::vector<std::uint8_t> state = VirtualChip(SettingsUnlikeTheDefaults()).SaveState();

    ASSERT_EQ(state.size(), 112U + 3 * 8192 + 4);
    const std::vector<std::uint8_t> head = {
        'L',  'U',  'M',  'O',  'C',  'H',  'I',  'P',   // magic
        1,    0,    0,    0,    0x74, 0x60, 0,    0,     // version, length
        1,    2,    0,    0,    3,    0,    0,    0,     // generation, RAM size code, sectors
        0,    0,    1,    0,    0x67, 0x45, 0x23, 0x21,  // bytes of SRAM, identification code
        1,    2,    3,    4,    5,    6,    7,    8,     // IEEE address
        9,    10,   11,   12,   13,   14,   0,    0,     // BLE address
        0x88, 0x77, 0x66, 0x55, 0x44, 0x33, 0x22, 0x11,  // seed
        0x00, 0x36, 0x6E, 0x01, 0,    0,    0,    0,     // 24 MHz
        0x40, 0x4B, 0x4C, 0x00, 0,    0,    0,    0,     // 5 ms
        0x70, 0x17, 0,    0,    0,    0,    0,    0,     // 6 us
        0xC0, 0xCF, 0x6A, 0x00, 0,    0,    0,    0,     // 7 ms
        8,    0,    0,    0,    0,    0,    0,    0,     // 8 ns
        9,    0,    0,    0,    0,    0,    0,    0,     // 9 bytes a second
        0x10, 0x27, 0,    0,    0,    0,    0,    0,     // 10 us
        0xAA, 0xBB, 0xFF, 0xFF,                          // flash
    };
    EXPECT_EQ(std::vector<std::uint8_t>(state.begin(), state.begin() + 116), head);
}

TEST(SavedState, EveryDamagedByteIsNoticed) {
    Settings settings;
    settings.sectorCount = 1;
    const std::vector<std::uint8_t> state = VirtualChip(settings).SaveState();
    for (std::size_t i = 0; i < state.size(); i += i < 120 ? 1 : 97) {
        std::vector<std::uint8_t> damaged = state;
        damaged[i] ^= 0x10;
        EXPECT_THAT(ErrorOf(damaged), HasSubstr("This is no saved state of a virtual chip")) << i;
    }
}

TEST(SavedState, EveryOtherLengthIsNoticed) {
    Settings settings;
    settings.sectorCount = 1;
    const std::vector<std::uint8_t> state = VirtualChip(settings).SaveState();
    for (std::size_t length = 0; length < state.size(); length += length < 130 ? 1 : 101) {
        EXPECT_THROW(DecodeState(std::span(state).first(length)), ChipError) << length;
    }
    std::vector<std::uint8_t> longer = state;
    longer.push_back(0);
    EXPECT_THROW(DecodeState(longer), ChipError);
}

TEST(SavedState, ValuesThatMakeNoChipAreRefusedBehindAGoodChecksum) {
    Settings settings;
    settings.generation = Generation::LumoF;
    settings.sectorCount = 2;
    settings.ramSizeCode = 3;
    const Settings good = VirtualChip(settings).GetSettings();
    const std::vector<std::uint8_t> flash(2 * 8192);
    EXPECT_NO_THROW(DecodeState(EncodeState(good, flash)));

    Settings manySectors = good;
    manySectors.sectorCount = 0xFFFF'FFFF;
    EXPECT_THROW(DecodeState(EncodeState(manySectors, flash)), ChipError);
    Settings otherCode = good;
    otherCode.ramSizeCode = 9;
    EXPECT_THROW(DecodeState(EncodeState(otherCode, flash)), ChipError);
    Settings negativeTime = good;
    negativeTime.timing.linkLatency = Nanoseconds(-1);
    EXPECT_THROW(DecodeState(EncodeState(negativeTime, flash)), ChipError);
    EXPECT_THROW(DecodeState(EncodeState(good, std::span(flash).first(8192))), ChipError);
}

}  // namespace
}  // namespace flash::chip
