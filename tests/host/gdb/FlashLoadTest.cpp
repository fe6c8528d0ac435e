#include "host/gdb/FlashLoad.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace flash::host::gdb {
namespace {

constexpr std::uint32_t kFlash = 64;
constexpr std::uint32_t kBlock = 16;
constexpr std::uint32_t kAll = kFlash;  // bytes that nobody wrote belong to the load, too

std::vector<std::uint8_t> Old(std::uint32_t, std::uint32_t length) { return std::vector<std::uint8_t>(length, 0x55); }

std::vector<std::uint8_t> Bytes(std::size_t length, std::uint8_t value) {
    return std::vector<std::uint8_t>(length, value);
}

TEST(FlashLoad, TouchesNothingOfItsOwnAccord) {
    const FlashLoad load(kFlash, kBlock);

    EXPECT_TRUE(load.IsEmpty());
    EXPECT_EQ(load.WrittenEnd(), 0u);
    EXPECT_TRUE(load.Data(ErasedRest::Erased, kAll, Old).empty());
}

TEST(FlashLoad, ErasesWholeBlocks) {
    FlashLoad load(kFlash, kBlock);
    load.Erase({17, 15});
    load.Erase({0, 0});

    EXPECT_EQ(load.ErasedBlocks(), 1u);
    EXPECT_EQ(load.Data(ErasedRest::Erased, kAll, Old), (std::vector{FlashRun{16, Bytes(16, 0xFF)}}));
    EXPECT_TRUE(load.Data(ErasedRest::Kept, kAll, Old).empty());
}

TEST(FlashLoad, ErasesNothingWhenTheLengthIsZero) {
    for (const std::uint32_t address : {0u, 1u, kBlock - 1, kBlock, kFlash - 1, kFlash}) {
        FlashLoad load(kFlash, kBlock);
        load.Erase({address, 0});

        EXPECT_TRUE(load.IsEmpty()) << address;
    }
}

TEST(FlashLoad, JoinsNeighboursAndLetsLaterBytesWin) {
    FlashLoad load(kFlash, kBlock);
    load.Erase({16, 32});
    load.Write(31, Bytes(2, 1));
    load.Write(32, Bytes(1, 2));

    EXPECT_EQ(load.Data(ErasedRest::Erased, kAll, Old), (std::vector{FlashRun{31, {1, 2}}}));
    EXPECT_EQ(load.WrittenBytes(), 2u);
    EXPECT_EQ(load.WrittenEnd(), 33u);
}

TEST(FlashLoad, KeepsWhatABlockHeldThatWasNotErased) {
    FlashLoad load(kFlash, kBlock);
    load.Erase({0, 16});
    load.Write(48, Bytes(1, 7));

    auto last = Bytes(16, 0x55);
    last[0] = 7;
    EXPECT_EQ(load.Data(ErasedRest::Erased, kAll, Old),
              (std::vector{FlashRun{0, Bytes(16, 0xFF)}, FlashRun{48, last}}));
}

TEST(FlashLoad, LeavesTheRestOfItsBlocksToThePlanWhereItIsToBeKept) {
    FlashLoad load(kFlash, kBlock);
    load.Erase({0, 48});
    load.Write(20, Bytes(1, 7));
    load.Write(50, Bytes(1, 8));

    EXPECT_EQ(load.Data(ErasedRest::Kept, kAll, Old), (std::vector{FlashRun{20, {7}}, FlashRun{50, {8}}}));
}

TEST(FlashLoad, OwnsBytesThatNobodyWroteOnlyUpToTheirEnd) {
    FlashLoad load(kFlash, kBlock);
    load.Erase({32, 16});
    load.Write(62, Bytes(2, 7));

    auto unwritten = Bytes(16, 0xFF);
    unwritten.resize(26, 0x55);
    EXPECT_EQ(load.Data(ErasedRest::Erased, 58, Old), (std::vector{FlashRun{32, unwritten}, FlashRun{62, {7, 7}}}));
}

TEST(FlashLoad, RefusesWhatIsNotInsideFlashAndTakesNothingOfIt) {
    FlashLoad load(kFlash, kBlock);

    EXPECT_THROW(load.Erase({48, 17}), std::invalid_argument);
    EXPECT_THROW(load.Erase({0xFFFF'FFFF, 2}), std::invalid_argument);
    EXPECT_THROW(load.Write(63, Bytes(2, 1)), std::invalid_argument);
    EXPECT_THROW(load.Write(0xFFFF'FFFF, Bytes(2, 1)), std::invalid_argument);

    EXPECT_TRUE(load.IsEmpty());
}

}  // namespace
}  // namespace flash::host::gdb
