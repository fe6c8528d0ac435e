// Erasing sets, programming clears, tearing leaves a mix.
#include "chip/FlashArray.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>

namespace flash::chip {
namespace {

class FlashArrayTest : public testing::Test {
protected:
    FlashArray array{4, 4096};
    Random random{7};
};

TEST_F(FlashArrayTest, IsBornErased) {
    EXPECT_EQ(array.Length(), 16384U);
    EXPECT_TRUE(std::ranges::all_of(array.Bytes(), [](std::uint8_t byte) { return byte == 0xFF; }));
}

TEST_F(FlashArrayTest, ProgrammingClearsBitsAndNeverSetsThem) {
    EXPECT_TRUE(array.ProgramWord(8, 0x0F0F'0F0F));
    EXPECT_FALSE(array.ProgramWord(8, 0xFFFF'0000));

    EXPECT_EQ(array.Word(8), 0x0F0F'0000U);
    EXPECT_EQ(array.Word(4), 0xFFFF'FFFFU);
    EXPECT_EQ(array.Word(12), 0xFFFF'FFFFU);
}

TEST_F(FlashArrayTest, ErasingReachesOneSectorOnly) {
    for (std::uint32_t sector = 0; sector < 4; ++sector) {
        array.ProgramWord(sector * 4096, 0);
        array.ProgramWord(sector * 4096 + 4092, 0);
    }

    array.Erase(0x2000, 0x1000);

    EXPECT_EQ(array.Word(0x2000), 0xFFFF'FFFFU);
    EXPECT_EQ(array.Word(0x2FFC), 0xFFFF'FFFFU);
    EXPECT_EQ(array.Word(0x1FFC), 0U);
    EXPECT_EQ(array.Word(0x3000), 0U);
}

TEST_F(FlashArrayTest, ATornWordHasSomeOfItsBitsClearedButNotAll) {
    for (std::uint32_t address = 0; address < 4096; address += 4) {
        array.TearWordProgram(address, 0x1234'5678, random);

        const std::uint32_t word = array.Word(address);
        EXPECT_EQ(word & 0x1234'5678, 0x1234'5678U);
        EXPECT_NE(word, 0x1234'5678U);
        EXPECT_NE(word, 0xFFFF'FFFFU);
    }
}

TEST_F(FlashArrayTest, ATornWordOfTwoBitsHasOneCleared) {
    array.TearWordProgram(0, 0x7FFF'FFFE, random);

    EXPECT_EQ(std::popcount(array.Word(0)), 31);
}

TEST_F(FlashArrayTest, AnyBitOfATornWordMayBeTheOneThatStays) {
    std::uint32_t cleared = 0;
    std::uint32_t left = 0;
    for (std::uint32_t address = 0; address < 4096; address += 4) {
        array.TearWordProgram(address, 0, random);
        cleared |= ~array.Word(address);
        left |= array.Word(address);
    }

    EXPECT_EQ(cleared, 0xFFFF'FFFFU);
    EXPECT_EQ(left, 0xFFFF'FFFFU);
}

TEST_F(FlashArrayTest, ATornWordWithNothingToClearIsLeftAlone) {
    array.ProgramWord(0, 0x0000'FFFF);

    array.TearWordProgram(0, 0xFFFF'FFFF, random);

    EXPECT_EQ(array.Word(0), 0x0000'FFFFU);
}

TEST_F(FlashArrayTest, AHalfErasedSectorHasSomeBitsSet) {
    for (std::uint32_t address = 0; address < 4096; address += 4) {
        array.ProgramWord(address, 0);
    }

    array.TearErase(0, 4096, random);

    int bits = 0;
    for (std::uint32_t address = 0; address < 4096; address += 4) {
        bits += std::popcount(array.Word(address));
    }
    EXPECT_GT(bits, 4096 * 8 / 4);
    EXPECT_LT(bits, 4096 * 8 * 3 / 4);
    EXPECT_EQ(array.Word(4096), 0xFFFF'FFFFU);
}

TEST_F(FlashArrayTest, AWeakBitStaysWhileItsNeighboursAreCleared) {
    array.WeakenBit(6, 3);

    EXPECT_FALSE(array.ProgramWord(4, 0));

    EXPECT_EQ(array.Word(4), 0x0008'0000U);
}

TEST_F(FlashArrayTest, AFlippingBitEndsTheOtherWayRoundAndSaysNothing) {
    array.FlipBit(5, 0);
    array.FlipBit(7, 7);

    EXPECT_TRUE(array.ProgramWord(4, 0xFFFF'00FF));
    EXPECT_EQ(array.Word(4), 0x7FFF'01FFU);
    EXPECT_TRUE(array.ProgramWord(8, 0));
    EXPECT_EQ(array.Word(8), 0U);
}

TEST_F(FlashArrayTest, HealedBitsAreWellAgain) {
    array.WeakenBit(4, 0);
    array.FlipBit(4, 1);

    array.HealBits();

    EXPECT_TRUE(array.ProgramWord(4, 0));
    EXPECT_EQ(array.Word(4), 0U);
}

}  // namespace
}  // namespace flash::chip
