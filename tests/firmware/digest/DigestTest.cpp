// Which ranges are answered, by what digests, on the workstation. Expected digests are put together by hand from the
// header's words and a second Poly1305.
#include "firmware/digest/digest.h"

#include <gtest/gtest.h>

#include <array>
#include <vector>

#include "tests/firmware/digest/SecondDigest.h"

namespace flash {
namespace {

constexpr std::uint32_t kMemoryBytes = 0x1000;

struct DigestRoutine : testing::Test {
    DigestRoutine() : memory(kMemoryBytes, 0xFF) {
        for (std::uint32_t i = 0; i < sizeof exchange.key; ++i) {
            exchange.key[i] = static_cast<std::uint8_t>(3 * i + 1);
            exchange.summaryKey[i] = static_cast<std::uint8_t>(5 * i + 2);
        }
    }

    void Ask(const std::vector<DigestRun>& runs) {
        exchange.answered = 0;
        exchange.runCount = static_cast<std::uint32_t>(runs.size());
        std::copy_n(runs.begin(), std::min<std::size_t>(runs.size(), kDigestMaxRuns), exchange.runs);
        AnswerDigests(memory.data(), &exchange, digests.data());
    }

    Bytes16 DigestAt(std::size_t index) const { return std::to_array(digests[index]); }
    Bytes16 Expected(std::uint32_t address, std::uint32_t length) const {
        return SecondDigest(exchange.key, address, std::span(memory).subspan(address, length));
    }

    std::vector<std::uint8_t> memory;
    DigestExchange exchange{};
    std::array<::Digest, kDigestMaxRanges> digests{};
};

TEST_F(DigestRoutine, AnswersEachRangeOfEachRun) {
    memory[0x010] = 1;
    memory[0x110] = 2;
    memory[0x803] = 3;

    Ask({{0x000, 0x100, 2}, {0x803, 1, 1}});

    ASSERT_EQ(exchange.answered, 3u);
    EXPECT_EQ(DigestAt(0), Expected(0x000, 0x100));
    EXPECT_EQ(DigestAt(1), Expected(0x100, 0x100));
    EXPECT_EQ(DigestAt(2), Expected(0x803, 1));
}

TEST_F(DigestRoutine, SumsAllDigestsUpByTheOtherKey) {
    memory[0x010] = 1;

    Ask({{0x000, 0x100, 3}});

    EXPECT_EQ(std::to_array(exchange.summary), SecondTag(exchange.summaryKey, {digests[0], 3 * sizeof digests[0]}));
}

TEST_F(DigestRoutine, TellsErasedRangesWithoutTheirBytes) {
    struct Case {
        const char* name;
        std::uint32_t length, programmedAt;
    };
    const Case cases[] = {{"erased", 0x100, kMemoryBytes},       {"erased, of odd length", 0x1F, kMemoryBytes},
                          {"erased, one byte", 1, kMemoryBytes}, {"first byte programmed", 0x100, 0},
                          {"last byte programmed", 0x1F, 0x1E},  {"last byte of four words programmed", 0x1F, 0x0F},
                          {"programmed just behind", 0x1F, 0x1F}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        std::fill(memory.begin(), memory.end(), std::uint8_t{0xFF});
        if (c.programmedAt < kMemoryBytes) {
            memory[c.programmedAt] = 0xFE;
        }

        Ask({{0, c.length, 1}});

        EXPECT_EQ(DigestAt(0), Expected(0, c.length));
    }
}

TEST_F(DigestRoutine, TellsEqualBytesAtTwoPlacesApart) {
    memory[0x000] = memory[0x100] = 7;

    Ask({{0x000, 0x100, 2}});

    EXPECT_NE(DigestAt(0), DigestAt(1));
}

TEST_F(DigestRoutine, RefusesMoreThanFitsAndTouchesNoDigest) {
    struct Case {
        const char* name;
        std::vector<DigestRun> runs;
        bool isRefused;
    };
    const Case cases[] = {
        {"as many ranges as fit", {{0, 16, kDigestMaxRanges}}, false},
        {"one more", {{0, 16, kDigestMaxRanges + 1}}, true},
        {"one more in two runs", {{0, 16, kDigestMaxRanges}, {0, 16, 1}}, true},
        {"counts that overflow", {{0, 16, 1}, {0, 16, 0xFFFF'FFFF}}, true},
        {"as many runs as fit", std::vector<DigestRun>(kDigestMaxRuns, {0, 16, 1}), false},
        {"one more run", std::vector<DigestRun>(kDigestMaxRuns + 1, {0, 16, 0}), true},
        {"no runs", {}, false},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        digests = {};

        Ask(c.runs);

        EXPECT_EQ(exchange.answered == kDigestRefused, c.isRefused);
        EXPECT_EQ(DigestAt(0) == Bytes16{}, c.isRefused || c.runs.empty());
    }
}

}  // namespace
}  // namespace flash
