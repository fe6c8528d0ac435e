#include "firmware/crc32.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/SlowCrc32.h"

namespace flash {
namespace {

struct TargetCrc32 : testing::Test {
    TargetCrc32() { Crc32Begin(); }
};

TEST_F(TargetCrc32, MatchesPublishedCheckValues) {
    struct Case {
        const char* name;
        std::string bytes;
        std::uint32_t expected;
    };
    const Case cases[] = {
        {"nothing", "", 0x00000000},
        {"the check value of the standard", "123456789", 0xCBF43926},
        {"one zero byte", std::string(1, '\0'), 0xD202EF8D},
        {"one byte of ones", "\xFF", 0xFF000000},
        {"four bytes of ones", "\xFF\xFF\xFF\xFF", 0xFFFFFFFF},
        {"32 zero bytes", std::string(32, '\0'), 0x190A55AD},
        {"32 bytes of ones", std::string(32, '\xFF'), 0xFF6CAB0B},
        {"a sentence", "The quick brown fox jumps over the lazy dog", 0x414FA339},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const auto* bytes = reinterpret_cast<const std::uint8_t*>(c.bytes.data());
        EXPECT_EQ(Crc32(bytes, static_cast<std::uint32_t>(c.bytes.size())), c.expected);
    }
}

TEST_F(TargetCrc32, IsTheSameForAnyLengthAndAlignment) {
    for (std::size_t offset = 0; offset < 4; ++offset) {
        for (std::size_t length = 0; length <= 300; ++length) {
            std::vector<std::uint8_t> bytes(length);
            for (std::size_t i = 0; i < length; ++i) {
                bytes[i] = static_cast<std::uint8_t>(i * 73 + length);
            }
            std::vector<std::uint8_t> shifted(offset);
            shifted.insert(shifted.end(), bytes.begin(), bytes.end());

            EXPECT_EQ(Crc32(shifted.data() + offset, static_cast<std::uint32_t>(length)), test::SlowCrc32(bytes))
                << length << " bytes at offset " << offset;
        }
    }
}

}  // namespace
}  // namespace flash
