// Known values of the CRC-32 of IEEE 802.3.
#include "flashdevice/programming/Crc32.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace flash::test {
namespace {

std::uint32_t Crc32Of(const std::string& text) {
    const std::vector<std::uint8_t> bytes(text.begin(), text.end());
    return Crc32(bytes);
}

TEST(Crc32, GivesTheKnownValues) {
    EXPECT_EQ(Crc32Of(""), 0U);
    EXPECT_EQ(Crc32Of("123456789"), 0xCBF4'3926U);
    EXPECT_EQ(Crc32Of("a"), 0xE8B7'BE43U);
    EXPECT_EQ(Crc32Of("The quick brown fox jumps over the lazy dog"), 0x414F'A339U);
    EXPECT_EQ(Crc32Of(std::string(1, '\0')), 0xD202'EF8DU);
    EXPECT_EQ(Crc32Of(std::string(4, '\xFF')), 0xFFFF'FFFFU);
    EXPECT_EQ(Crc32Of(std::string(32, '\0')), 0x190A'55ADU);
}

TEST(Crc32, SeesEveryBitAndEveryPlace) {
    const std::uint32_t ofZeros = Crc32Of(std::string(16, '\0'));
    for (std::size_t place = 0; place < 16; ++place) {
        for (int bit = 0; bit < 8; ++bit) {
            std::string text(16, '\0');
            text[place] = static_cast<char>(1 << bit);
            EXPECT_NE(Crc32Of(text), ofZeros) << place << "." << bit;
        }
    }
}

}  // namespace
}  // namespace flash::test
