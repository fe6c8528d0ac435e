// Numbers in each of their forms.
#include "host/Numbers.h"

#include <gtest/gtest.h>

#include <array>

namespace flash::host {
namespace {

TEST(ParseNumber, IsDecimalOrHexadecimalBehindItsMark) {
    struct Case {
        const char* text;
        std::optional<std::uint32_t> expected;
    };
    const Case cases[] = {
        {"0", 0},
        {"010", 10},
        {"4294967295", 0xFFFF'FFFF},
        {"0x0", 0},
        {"0X1f", 0x1F},
        {"0xFFFFFFFF", 0xFFFF'FFFF},
        {"", {}},
        {"0x", {}},
        {"4294967296", {}},
        {"0x100000000", {}},
        {"+1", {}},
        {"-1", {}},
        {" 1", {}},
        {"1 ", {}},
        {"1F", {}},
        {"0x1g", {}},
        {"0x-1", {}},
        {"0x0x1", {}},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(ParseNumber(c.text), c.expected) << c.text;
    }
}

TEST(ParseDecimal, KnowsNoMark) {
    EXPECT_EQ(ParseDecimal("12"), 12u);
    EXPECT_EQ(ParseDecimal("0x12"), std::nullopt);
    EXPECT_EQ(ParseDecimal(""), std::nullopt);
}

TEST(ParseHexadecimal, NeedsNoMark) {
    EXPECT_EQ(ParseHexadecimal("1fC"), 0x1FCu);
    EXPECT_EQ(ParseHexadecimal("0x1"), std::nullopt);
    EXPECT_EQ(ParseHexadecimal(""), std::nullopt);
}

TEST(LittleEndian, PutsTheFirstByteLowest) {
    const std::array<std::uint8_t, 4> bytes{0x01, 0x02, 0x03, 0x84};

    EXPECT_EQ(LittleEndian(bytes), 0x8403'0201u);
    EXPECT_EQ(LittleEndian(std::span(bytes).first(2)), 0x0201u);
    EXPECT_EQ(LittleEndian({}), 0u);
}

TEST(LittleEndianBytes, PutsTheLowestByteFirst) {
    EXPECT_EQ(LittleEndianBytes(0x8403'0201u), (std::array<std::uint8_t, 4>{0x01, 0x02, 0x03, 0x84}));
}

}  // namespace
}  // namespace flash::host
