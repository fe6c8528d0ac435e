// The text of the fill value.
#include "flashdevice/programming/FillValue.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

#include "tests/support/ThrownText.h"

namespace flash::test {
namespace {

TEST(ParseFillValue, TakesFourCharactersInHexadecimalOrZeroAndOne) {
    struct Case {
        const char* text;
        int value;
    };
    const Case cases[] = {
        {"0xFF", 0xFF}, {"0XA5", 0xA5}, {"0x00", 0}, {"0xab", 0xAB}, {"0", 0},       {"1", 1},    {"", 0},
        {"00", 0},      {"0001", 1},    {"x0A5", 0}, {"A5x1", 0xA5}, {"1x23", 0x01}, {"xxxx", 0}, {"ABCx", 0xBC},
    };
    for (const Case& each : cases) {
        EXPECT_EQ(ParseFillValue(each.text), each.value) << each.text;
    }
}

TEST(ParseFillValue, RefusesEverythingElse) {
    struct Case {
        const char* text;
        const char* error;
    };
    const Case cases[] = {
        {"255", "Invalid option was given \"255\".\n"},
        {"2", "Invalid option was given \"2\".\n"},
        {"FF", "Invalid option was given \"FF\".\n"},
        {"1e", "Invalid option was given \"1e\".\n"},
        {"0F", "Invalid option was given \"0F\".\n"},
        {"9", "Invalid option was given \"9\".\n"},
        {"10", "Invalid option was given \"10\".\n"},
        {"a", "Invalid option was given \"a\".\n"},
        {"4294967296", "Invalid option was given \"4294967296\".\n"},
        {"0x1FF", "Invalid option was given \"0x1FF\". Value must fit in one byte!\n"},
        {"0x5", "Invalid option was given \"0x5\". Value must fit in one byte!\n"},
        {"0x", "Invalid option was given \"0x\". Value must fit in one byte!\n"},
        {"X", "Invalid option was given \"X\". Value must fit in one byte!\n"},
        {"FFh", "Option contains invalid characters: \"FFh\".\n"},
        {"0xFG", "Option contains invalid characters: \"0xFG\".\n"},
        {" 1", "Option contains invalid characters: \" 1\".\n"},
        {"-1", "Option contains invalid characters: \"-1\".\n"},
        {"0xFF ", "Option contains invalid characters: \"0xFF \".\n"},
    };
    for (const Case& each : cases) {
        EXPECT_EQ(ThrownText<std::runtime_error>([&] { ParseFillValue(each.text); }), each.error);
    }
}

TEST(ParseFillValue, KnowsEveryHexadecimalDigitBehindThePrefixOnly) {
    const std::string digits = "0123456789abcdefABCDEF";
    for (std::size_t i = 0; i < digits.size(); ++i) {
        const char digit = digits[i];
        EXPECT_EQ(ParseFillValue(std::string("0x0") + digit), i < 16 ? i : i - 6) << digit;
        if (i >= 10) {
            EXPECT_EQ(ThrownText<std::runtime_error>([&] { ParseFillValue(std::string("1") + digit); }),
                      std::string("Invalid option was given \"1") + digit + "\".\n");
        }
    }
}

}  // namespace
}  // namespace flash::test
