// Numbers out of texts, at every edge of the C library's rules.
#include "flashdevice/device/NumberText.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "tests/support/ThrownText.h"

namespace flash::test {
namespace {

TEST(ParseUnsigned, FollowsStrtoulWith32Bits) {
    struct Case {
        const char* name;
        const char* text;
        std::uint32_t base;
        std::uint32_t value;
    };
    const Case cases[] = {
        {"empty", "", 10, 0},
        {"no digit", "abc", 10, 0},
        {"zero", "0", 10, 0},
        {"leading zeros", "0042", 10, 42},
        {"no octal", "010", 10, 10},
        {"stops at the first other character", "12x34", 10, 12},
        {"stops at a blank inside", "1 2", 10, 1},
        {"stops at a letter of a higher base", "9a", 10, 9},
        {"all white space is skipped", " \t\n\v\f\r7", 10, 7},
        {"white space alone", "  ", 10, 0},
        {"plus", "+7", 10, 7},
        {"plus and blank", "+ 7", 10, 0},
        {"two signs", "--7", 10, 0},
        {"minus 1", "-1", 10, 0xFFFF'FFFF},
        {"minus 2", "-2", 10, 0xFFFF'FFFE},
        {"minus 0", "-0", 10, 0},
        {"sign alone", "-", 10, 0},
        {"the largest", "4294967295", 10, 0xFFFF'FFFF},
        {"one too large", "4294967296", 10, 0xFFFF'FFFF},
        {"far too large", "99999999999999999999999", 10, 0xFFFF'FFFF},
        {"negative, one too large", "-4294967296", 10, 0xFFFF'FFFF},
        {"negative, the largest", "-4294967295", 10, 1},
        {"hexadecimal", "aB", 16, 0xAB},
        {"prefix", "0x1F", 16, 0x1F},
        {"capital prefix", "0X1f", 16, 0x1F},
        {"sign and prefix", "-0x1", 16, 0xFFFF'FFFF},
        {"prefix without a digit is the zero", "0xg", 16, 0},
        {"prefix alone", "0x", 16, 0},
        {"a prefix only once", "0x0x5", 16, 0},
        {"no prefix for decimal", "0x5", 10, 0},
        {"hexadecimal, the largest", "FFFFFFFF", 16, 0xFFFF'FFFF},
        {"hexadecimal, one too large", "100000000", 16, 0xFFFF'FFFF},
        {"hexadecimal, leading zeros", "0x0000000000000012", 16, 0x12},
        {"hexadecimal, a leading zero is no prefix", "012", 16, 0x12},
        {"hexadecimal, stops", "1G", 16, 1},
    };
    for (const Case& each : cases) {
        EXPECT_EQ(ParseUnsigned(each.text, each.base), each.value) << each.name;
    }
}

TEST(ParseUnsigned, SeesOnlyTheTextItWasGiven) {
    const std::string_view text = "1234";
    EXPECT_EQ(ParseUnsigned(text.substr(1, 2), 10), 23U);
    EXPECT_EQ(ParseUnsigned(text.substr(4), 10), 0U);
}

TEST(ParseInteger, FollowsStoi) {
    struct Case {
        const char* text;
        std::int32_t value;
    };
    const Case cases[] = {
        {"0", 0},
        {"7", 7},
        {" \t+7x", 7},
        {"-7", -7},
        {"007", 7},
        {"2147483647", 2147483647},
        {"-2147483648", -2147483647 - 1},
    };
    for (const Case& each : cases) {
        EXPECT_EQ(ParseInteger(each.text), each.value) << each.text;
    }
}

TEST(ParseInteger, FailsWithTheStandardLibrarysTexts) {
    for (const char* text : {"", " ", "x", "-", "+", "- 1", ".5", "A"}) {
        EXPECT_EQ(ThrownText<std::invalid_argument>([&] { ParseInteger(text); }), "invalid stoi argument") << text;
    }
    for (const char* text : {"2147483648", "-2147483649", "4294967296", "99999999999999999999"}) {
        EXPECT_EQ(ThrownText<std::out_of_range>([&] { ParseInteger(text); }), "stoi argument out of range") << text;
    }
}

TEST(IsWhiteSpace, KnowsTheSixCharactersOfTheCLocale) {
    std::string found;
    for (int character = 0; character < 256; ++character) {
        if (IsWhiteSpace(static_cast<char>(character))) {
            found += static_cast<char>(character);
        }
    }
    EXPECT_EQ(found, "\t\n\v\f\r ");
}

TEST(DigitValue, KnowsTheDigitsUpToF) {
    const std::string digits = "0123456789abcdef";
    for (std::size_t i = 0; i < digits.size(); ++i) {
        EXPECT_EQ(DigitValue(digits[i]), i);
    }
    EXPECT_EQ(DigitValue('A'), 10U);
    EXPECT_EQ(DigitValue('F'), 15U);
    for (const char other : {'g', 'G', 'z', '@', '`', '/', ':', '\0', ' ', '-'}) {
        EXPECT_EQ(DigitValue(other), 16U) << other;
    }
}

}  // namespace
}  // namespace flash::test
