#include "host/gdb/Hex.h"

#include <gtest/gtest.h>

namespace flash::host::gdb {
namespace {

TEST(Hex, WritesTwoDigitsPerByte) {
    EXPECT_EQ(HexOf(std::vector<std::uint8_t>{0x00, 0x9F, 0xFF}), "009fff");
    EXPECT_EQ(HexOf(std::string_view("Hi")), "4869");
}

TEST(Hex, ReadsBytesInBothCases) {
    EXPECT_EQ(BytesOf("009fFA"), (std::vector<std::uint8_t>{0x00, 0x9F, 0xFA}));
    EXPECT_EQ(BytesOf(""), std::vector<std::uint8_t>{});
    EXPECT_EQ(BytesOf("0"), std::nullopt);
    EXPECT_EQ(BytesOf("0g"), std::nullopt);
    EXPECT_EQ(BytesOf("g0"), std::nullopt);
}

TEST(Hex, ReadsNumbers) {
    EXPECT_EQ(NumberOf("0"), 0u);
    EXPECT_EQ(NumberOf("ffffffffFFFFFFFF"), 0xFFFF'FFFF'FFFF'FFFFu);
    for (const char* const text : {"", "10000000000000000", "-1", " 1", "0x1", "`", ":", "@", "/"}) {
        SCOPED_TRACE(text);
        EXPECT_EQ(NumberOf(text), std::nullopt);
    }
}

}  // namespace
}  // namespace flash::host::gdb
