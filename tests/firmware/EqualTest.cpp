#include "firmware/equal.h"

#include <gtest/gtest.h>

#include <vector>

namespace flash {
namespace {

TEST(EqualBytes, AreCountedUpToTheFirstDifferenceForAnyLengthAndAlignment) {
    for (std::uint32_t length = 0; length <= 100; ++length) {
        for (std::uint32_t different = 0; different <= length; ++different) {
            std::vector<std::uint8_t> a(length + 4, 0x5A);
            std::vector<std::uint8_t> b(length + 4, 0x5A);
            const std::uint32_t offset = different % 4;
            b[offset + different] ^= 0x80;

            EXPECT_EQ(EqualBytes(a.data() + offset, b.data() + offset, length), different);
        }
    }
}

}  // namespace
}  // namespace flash
