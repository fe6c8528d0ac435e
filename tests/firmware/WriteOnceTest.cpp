// Units that are written once, and units of other sizes: what a controller of another kind makes of the same commands.
#include <gtest/gtest.h>

#include <random>

#include "tests/firmware/Flashloader.h"

namespace flash {
namespace {

constexpr std::uint32_t kSector = 4096;
constexpr std::uint32_t kFlash = 4 * kSector;
constexpr std::uint32_t kUnit = 8;

// Two locks, of one unit or of two.
struct WrittenOnce : Flashloader {
    explicit WrittenOnce(std::uint32_t unitBytes = kUnit) {
        fake.traits.unitBytes = unitBytes;
        fake.traits.isRewritable = false;
    }

    // As a program that is older than the load has left it.
    void PlaceInFlash(std::uint32_t address, const Bytes& content) {
        SetFlash(address, content);
        const auto end = address + static_cast<std::uint32_t>(content.size());
        for (std::uint32_t unit = address / fake.traits.unitBytes * fake.traits.unitBytes; unit < end;
             unit += fake.traits.unitBytes) {
            fake.usedUnits.insert(unit);
        }
    }
};

constexpr std::uint32_t kWordFailed = 0x103 | 4u << 16;

TEST(WriteOnce, ProgramsAPartOfAUnitTogetherWithOnes) {
    for (const std::uint32_t command : {2u, 3u, 4u, 0x13u}) {
        for (const std::uint32_t unitBytes : {1u, 2u, 4u, 8u, 16u, 32u}) {
            SCOPED_TRACE(testing::Message() << "unit of " << unitBytes << ", command " << command);
            WrittenOnce loader(unitBytes);

            EXPECT_EQ(loader.Program(command, kSector + 5, Bytes(50, 0x5A)).status, 0u);

            EXPECT_EQ(loader.FlashAt(kSector + 5, 50), Bytes(50, 0x5A));
            EXPECT_EQ(loader.FlashAt(kSector + 55, 9), Bytes(9, 0xFF));
            EXPECT_EQ(loader.fake.words, static_cast<int>((54 / unitBytes) - (5 / unitBytes) + 1));
        }
    }
}

TEST(WriteOnce, ChunksThatShareAUnitMeetByWayOfTheScratchSector) {
    for (const std::uint32_t command : {2u, 3u, 4u, 0x12u, 0x13u, 0x14u}) {
        SCOPED_TRACE(testing::Message() << "command 0x" << std::hex << command);
        WrittenOnce loader;
        EXPECT_EQ(loader.Program(command, 0, Bytes(13, 0x11)).status, 0u);
        loader.fake.erases[0] = 0;

        EXPECT_EQ(loader.Program(command, 13, Bytes(13, 0x22)).status, 0u);

        EXPECT_EQ(loader.FlashAt(0, 13), Bytes(13, 0x11));
        EXPECT_EQ(loader.FlashAt(13, 13), Bytes(13, 0x22));
        EXPECT_EQ(loader.FlashAt(26, 6), Bytes(6, 0xFF));
        EXPECT_EQ(loader.fake.erases[0], 1);
    }
}

TEST(WriteOnce, ChunksThatEndWithTheirUnitNeedNoFurtherErase) {
    WrittenOnce loader;
    for (std::uint32_t address = 0; address < kSector; address += 16) {
        EXPECT_EQ(loader.Program(2, address, Bytes(16, 0x5A)).status, 0u);
    }

    EXPECT_EQ(loader.fake.erases, std::vector<int>(4, 0));
    EXPECT_EQ(loader.fake.words, static_cast<int>(kSector / kUnit));
}

TEST(WriteOnce, OnesOverSomethingLeaveItWithoutAnErase) {
    WrittenOnce loader;
    loader.Program(2, 0, Bytes(8, 0x5A));

    EXPECT_EQ(loader.Program(2, 0, Bytes(16, 0xFF)).status, 0u);

    EXPECT_EQ(loader.FlashAt(0, 8), Bytes(8, 0x5A));
    EXPECT_EQ(loader.fake.operations, 1);
}

TEST(WriteOnce, OnesStayOutOfARewrittenSectorWhereSomethingIs) {
    WrittenOnce loader;
    loader.Program(2, 0, Bytes(12, 0x5A));

    // The first unit is to stay, the second gets its other half.
    EXPECT_EQ(loader.Program(2, 0, {255, 255, 255, 255, 255, 255, 255, 255, 0x5A, 0x5A, 0x5A, 0x5A, 1, 2, 3, 4}).status,
              0u);

    EXPECT_EQ(loader.FlashAt(0, 12), Bytes(12, 0x5A));
    EXPECT_EQ(loader.FlashAt(12, 4), (Bytes{1, 2, 3, 4}));
}

TEST(WriteOnce, ContradictingDataFailsAndTouchesNothing) {
    for (const std::uint32_t command : {2u, 3u}) {
        WrittenOnce loader;
        loader.Program(command, 0, Bytes(4, 0x11));
        const int operations = loader.fake.operations;

        // The first unit could be rewritten, the byte of the second cannot be set.
        loader.Program(command, 8, {0x00});
        EXPECT_EQ(loader.Program(command, 4, {1, 1, 1, 1, 0x80}).status, kWordFailed);

        EXPECT_EQ(loader.fake.operations, operations + 1);
        EXPECT_EQ(loader.FlashAt(0, 9), (Bytes{0x11, 0x11, 0x11, 0x11, 255, 255, 255, 255, 0x00}));
    }
}

TEST(WriteOnce, Command4ErasesWhenAUnitWouldBeWrittenTwice) {
    WrittenOnce loader;
    loader.PlaceInFlash(0, Bytes(8, 0xF0));

    EXPECT_EQ(loader.Program(4, 2, {0x30}).status, 0u);

    EXPECT_EQ(loader.FlashAt(0, 4), (Bytes{0xF0, 0xF0, 0x30, 0xF0}));
    EXPECT_EQ(loader.fake.erases[0], 1);
}

TEST(WriteOnce, AUnitThatWasProgrammedWithOnesIsNotBlank) {
    const std::uint32_t unit = kSector + 64;
    {
        WrittenOnce loader;
        loader.PlaceInFlash(unit, Bytes(8, 0xFF));
        EXPECT_EQ(loader.Run(6, 0, kFlash), (Answer{0x106, unit}));
        EXPECT_EQ(loader.Run(6, 3, kFlash - 3), (Answer{0x106, unit}));
        EXPECT_EQ(loader.Run(6, unit + 1, 7), (Answer{0, unit + 1})) << "judged whole, or by its bytes";
        EXPECT_EQ(loader.Run(6, unit - 8, 15), (Answer{0, unit - 8}));
        EXPECT_EQ(loader.Run(6, unit - 8, 16), (Answer{0x106, unit}));
    }
    for (const std::uint32_t command : {2u, 3u, 4u}) {
        SCOPED_TRACE(testing::Message() << "command " << command);
        WrittenOnce loader;
        loader.PlaceInFlash(unit, Bytes(8, 0xFF));

        EXPECT_EQ(loader.Program(command, unit, Bytes(8, 0x5A)).status, 0u);

        EXPECT_EQ(loader.FlashAt(unit, 8), Bytes(8, 0x5A));
        EXPECT_EQ(loader.fake.erases[1], 1);
    }
    for (const std::uint32_t programmed : {kSector, kSector + 120}) {
        WrittenOnce loader;
        loader.PlaceInFlash(unit, Bytes(8, 0xFF));
        loader.PlaceInFlash(programmed, Bytes(8, 0x5A));

        EXPECT_EQ(loader.Program(3, programmed, Bytes(8, 0x5A)).status, 0u);

        EXPECT_EQ(loader.fake.erases[1], 1) << "what is to be written there later could not be";
    }
}

TEST(WriteOnce, BelievesNoEraseThatLeavesAUnitUsed) {
    WrittenOnce loader;
    loader.PlaceInFlash(kSector, Bytes(8, 0xFF));
    loader.fake.onlySaysErased = true;

    EXPECT_EQ(loader.Run(5, kSector, 0).status, 0x0100'0102u);
    EXPECT_EQ(loader.Run(1, 0, 0).status, 0x0100'0102u);
}

TEST(WriteOnce, UnitsWithLocksComeLast) {
    const struct {
        const char* name;
        std::uint32_t unitBytes;
        std::array<std::uint32_t, 2> protection,
            port;                         // each byte's offset from the end of flash, and that of its unit
        std::vector<std::uint32_t> last;  // units by their offset, in the order in which they end the work
    } cases[] = {
        {"a unit for each lock", 8, {0x20, 0x20}, {0x29, 0x30}, {0x08, 0x20, 0x30}},
        {"the first lock's unit behind the second's", 8, {0x29, 0x30}, {0x20, 0x20}, {0x08, 0x30, 0x20}},
        {"one unit for both", 32, {0x30, 0x40}, {0x29, 0x40}, {0x60, 0x20, 0x40}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        WrittenOnce loader(c.unitBytes);
        loader.fake.locks[0] = {kFlash - c.protection[0], 0x08};
        loader.fake.locks[1] = {kFlash - c.port[0], 0xFF};
        std::vector<std::uint32_t> order;
        Bytes seen = loader.fake.bytes;
        const auto note = [&] {
            const auto changed = std::mismatch(seen.begin(), seen.end(), loader.fake.bytes.begin()).first;
            if (changed != seen.end()) {
                order.push_back(static_cast<std::uint32_t>(seen.end() - changed));
            }
            seen = loader.fake.bytes;
        };
        loader.fake.duringOperation = note;

        EXPECT_EQ(loader.Program(3, kFlash - 96, Bytes(96, 0x00)).status, 0u);

        note();
        EXPECT_EQ(order.size(), 96 / c.unitBytes);
        EXPECT_EQ(std::vector<std::uint32_t>(order.end() - 3, order.end()), c.last);
    }
}

TEST(WriteOnce, RewritesASectorWithItsLocksLast) {
    WrittenOnce loader;
    loader.PlaceInFlash(kFlash - 0x28, Bytes(8, 0x5A));

    EXPECT_EQ(loader.Program(4, kFlash - 0x20, {0x00}).status, 0u);
    EXPECT_EQ(loader.Program(4, kFlash - 0x1F, {0x00}).status, 0u);

    EXPECT_EQ(loader.FlashAt(kFlash - 0x28, 10), (Bytes{90, 90, 90, 90, 90, 90, 90, 90, 0, 0}));
    EXPECT_EQ(loader.fake.erases[3], 1);
}

// ---- Loads of chunks that abut, as hosts send them, whatever their alignment.

struct Silicon {
    const char* name;
    std::uint32_t unitBytes;
    bool isRewritable;
};

class AbuttingChunks : public testing::TestWithParam<Silicon> {};

TEST_P(AbuttingChunks, ComeWholeIntoFlashAtEveryAlignment) {
    constexpr std::uint32_t kSmallSector = 128;
    constexpr int kLoads = 500;
    std::mt19937 random(1);
    for (const std::uint32_t alignment : {1u, 2u, 4u, 8u}) {
        for (int load = 0; load < kLoads; ++load) {
            SCOPED_TRACE(testing::Message() << "load " << load << " at alignment " << alignment);
            Flashloader loader(kSmallSector, 4);
            loader.fake.traits.unitBytes = GetParam().unitBytes;
            loader.fake.traits.isRewritable = GetParam().isRewritable;
            const std::uint32_t command = 2 + static_cast<std::uint32_t>(load % 3) + (random() % 2 == 0 ? 0x10 : 0);
            Bytes expected = loader.fake.bytes;
            std::uint32_t address = static_cast<std::uint32_t>(random() % 256) / alignment * alignment;
            const std::uint32_t end = address + static_cast<std::uint32_t>(random() % 256);
            while (address < end) {
                const std::uint32_t most = kSmallSector / alignment;
                const std::uint32_t length = alignment * (1 + static_cast<std::uint32_t>(random() % most));
                Bytes chunk(std::min(length, 4 * kSmallSector - address));
                std::generate(chunk.begin(), chunk.end(),
                              [&] { return static_cast<std::uint8_t>(random() % 3 == 0 ? 0xFF : random()); });
                std::copy(chunk.begin(), chunk.end(), expected.begin() + address);

                ASSERT_EQ(loader.Program(command, address, chunk), (Answer{0, address}));

                address += static_cast<std::uint32_t>(chunk.size());
            }
            ASSERT_EQ(loader.fake.bytes, expected);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Silicon, AbuttingChunks,
                         testing::Values(Silicon{"WordsWrittenAgain", 4, true}, Silicon{"BytesWrittenAgain", 1, true},
                                         Silicon{"DoubleWordsWrittenOnce", 8, false},
                                         Silicon{"LinesWrittenOnce", 32, false}),
                         [](const testing::TestParamInfo<Silicon>& row) { return std::string(row.param.name); });

}  // namespace
}  // namespace flash
