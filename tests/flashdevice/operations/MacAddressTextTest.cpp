// A radio address as the user writes it.
#include "flashdevice/operations/MacAddressText.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "tests/support/ThrownText.h"

namespace flash::test {
namespace {

using Bytes = std::vector<std::uint8_t>;

TEST(ParseMacAddress, GivesTargetOrder) {
    struct Case {
        const char* text;
        std::uint32_t length;
        Bytes bytes;
    };
    const Case cases[] = {
        {"01:23:45:67:89:AB:CD:EF", 8, {0xEF, 0xCD, 0xAB, 0x89, 0x67, 0x45, 0x23, 0x01}},
        {"a:b:c:d:e:f", 6, {0xF, 0xE, 0xD, 0xC, 0xB, 0xA}},
        {"1:2:3:", 3, {3, 2, 1}},
        {"1::3", 3, {3, 0, 1}},
        {" 1:+2:\t3", 3, {3, 2, 1}},
        {"1 : :\r\n:4", 4, {4, 0, 0, 1}},
        {"-0:1", 2, {1, 0}},
        {"", 0, {}},
        {"7", 1, {7}},
    };
    for (const Case& each : cases) {
        EXPECT_EQ(ParseMacAddress(each.text, each.length), each.bytes) << each.text;
    }
}

TEST(ParseMacAddress, ExplainsASyntaxError) {
    for (const char* text :
         {"01:23:4G", "0x1:2:3:4:5:6", "x", "1:2:3:4:5:123", "1.2", "1:2:3:4:5:-1", "1,2", "01-23-45-67-89-AB",
          "1:2:3:4:5:6:7:zz", "4-", "4+", "1:-", "+", "--:1", "+-", "1:A-", " -", "- ", "- 1"}) {
        EXPECT_EQ(ThrownText<std::runtime_error>([&] { ParseMacAddress(text, 8); }),
                  "Syntax error in MAC address. Expecting 8 HEX values separated by ':'.\n")
            << text;
    }
    EXPECT_EQ(ThrownText<std::runtime_error>([&] { ParseMacAddress("q", 10); }),
              "Syntax error in MAC address. Expecting 10 HEX values separated by ':'.\n");
}

TEST(ParseMacAddress, ExplainsAWrongLength) {
    for (const char* text : {"01:23:45", "", ":", "1:2:3:4:5:6:7", "1:2:3:4:5:6:7:8:9"}) {
        EXPECT_EQ(ThrownText<std::runtime_error>([&] { ParseMacAddress(text, 8); }),
                  "Error: Expected MAC address length of 8 bytes.\n")
            << text;
    }
    EXPECT_EQ(ThrownText<std::runtime_error>([&] { ParseMacAddress("1", 0); }),
              "Error: Expected MAC address length of 0 bytes.\n");
}

}  // namespace
}  // namespace flash::test
