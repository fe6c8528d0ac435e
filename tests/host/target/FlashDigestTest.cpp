// The hash as docs/flash-digest.md describes it.
#include "host/target/FlashDigest.h"

#include <gtest/gtest.h>

#include <vector>

namespace flash::host {
namespace {

// The key of RFC 8439, 2.5.2, for the ranges.
constexpr DigestKeys kKeys = {
    {0x85, 0xd6, 0xbe, 0x78, 0x57, 0x55, 0x6d, 0x33, 0x7f, 0x44, 0x52, 0xfe, 0x42, 0xd5, 0x06, 0xa8,
     0x01, 0x03, 0x80, 0x8a, 0xfb, 0x0d, 0xb2, 0xfd, 0x4a, 0xbf, 0xf6, 0xaf, 0x41, 0x49, 0xf5, 0x1b},
    {}};

TEST(FlashDigest, IsThatOfTheDocumentsExample) {
    const std::vector<std::uint8_t> bytes = {1, 2, 3, 0xFF};
    const FlashDigest expected = {0xfa, 0xc6, 0x9f, 0x6a, 0xc3, 0x78, 0xb4, 0xb9,
                                  0x66, 0x08, 0xf1, 0x91, 0x2e, 0xdc, 0xf1, 0x43};

    EXPECT_EQ(DigestOf(kKeys, 0, bytes), expected);
}

TEST(FlashDigest, OfErasedFlashLeavesItsBytesOut) {
    const std::vector<std::uint8_t> bytes(4, 0xFF);
    const FlashDigest expected = {0x01, 0x8f, 0x77, 0xcf, 0x48, 0x9d, 0xfe, 0x2e,
                                  0xbb, 0xc0, 0x51, 0xd8, 0x15, 0x3b, 0xb4, 0x62};

    EXPECT_EQ(DigestOf(kKeys, 0, bytes), expected);
}

TEST(FlashDigest, DependsOnPlaceLengthAndEveryByte) {
    const std::vector<std::uint8_t> bytes(100, 7);
    const FlashDigest digest = DigestOf(kKeys, 0x2000, bytes);

    EXPECT_NE(DigestOf(kKeys, 0x4000, bytes), digest);
    EXPECT_NE(DigestOf(kKeys, 0x2000, std::span(bytes).first(99)), digest);
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        std::vector<std::uint8_t> changed = bytes;
        changed[i] ^= 0x80;
        EXPECT_NE(DigestOf(kKeys, 0x2000, changed), digest) << "byte " << i;
    }
}

TEST(FlashDigest, SummaryHasAKeyOfItsOwn) {
    const std::vector<FlashDigest> digests = {{1}, {2}};
    DigestKeys other = kKeys;
    other.ranges = {9};

    EXPECT_EQ(SummaryOf(other, digests), SummaryOf(kKeys, digests));
    other.summary = {9};
    EXPECT_NE(SummaryOf(other, digests), SummaryOf(kKeys, digests));
}

TEST(DigestKeys, AreNewEachTime) {
    const DigestKeys first = DrawDigestKeys();
    const DigestKeys second = DrawDigestKeys();

    EXPECT_NE(first.ranges, second.ranges);
    EXPECT_NE(first.summary, second.summary);
    EXPECT_NE(first.ranges, first.summary);
}

}  // namespace
}  // namespace flash::host
