// Singular and plural, and what a terminal must not get.
#include "host/Words.h"

#include <gtest/gtest.h>

namespace flash::host {
namespace {

TEST(Counted, HasASingularForOneOnly) {
    EXPECT_EQ(Counted(0, "byte"), "0 bytes");
    EXPECT_EQ(Counted(1, "byte"), "1 byte");
    EXPECT_EQ(Counted(2, "sector"), "2 sectors");
    EXPECT_EQ(Counted(1, "address"), "1 address");
    EXPECT_EQ(Counted(2, "address"), "2 addresses");
}

TEST(Listed, HasASingularForAListOfOne) {
    EXPECT_EQ(Listed("page", "13"), "page 13");
    EXPECT_EQ(Listed("page", "3-5"), "pages 3-5");
    EXPECT_EQ(Listed("page", "1,7"), "pages 1,7");
}

TEST(Escaped, LeavesNoControlCharacter) {
    EXPECT_EQ(Escaped("a\x1B[31mb\nc\x7F"), "a\\x1B[31mb\\x0Ac\\x7F");
    EXPECT_EQ(Escaped(".text caf\xC3\xA9 \xE2\x82\xAC \xF0\x9F\x98\x80"),
              ".text caf\xC3\xA9 \xE2\x82\xAC \xF0\x9F\x98\x80");
    EXPECT_EQ(Escaped("\xC2\x9B"
                      "31m \x9B \xC3"),
              "\\xC2\\x9B31m \\x9B \\xC3");
    EXPECT_EQ(Escaped("\xC0\x9B \xE0\x80\x9B"), "\\xC0\\x9B \\xE0\\x80\\x9B");  // forms that are too long
    EXPECT_EQ(EscapedLines("a\nb\r"), "a\nb\\x0D");
}

}  // namespace
}  // namespace flash::host
