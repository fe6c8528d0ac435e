// What lies where on the simulated chip.
#include <gtest/gtest.h>

#include "validator/simulation/ChipMemory.h"

namespace flash::simulation {
namespace {

using Bytes = std::vector<std::uint8_t>;

TEST(ChipMemory, ShowsTheLastSectorInAWindow) {
    ChipMemory memory(kFirstGeneration);

    memory.SetWord(0x1'FFB0, 0x0042'0001);

    EXPECT_EQ(memory.Word(0x5000'3FB0), 0x0042'0001U);
}

TEST(ChipMemory, HasNothingBetweenItsMemories) {
    ChipMemory memory(kFirstGeneration);
    Bytes bytes(2);

    for (const std::uint64_t address : {0x1'FFFFULL, 0x2'0000ULL, 0x2000'FFFFULL, 0x5000'3FFFULL, 0x1'0000'0000ULL}) {
        EXPECT_FALSE(memory.Read(address, bytes)) << address;
    }
}

TEST(ChipMemory, IsWrittenInSramOnly) {
    ChipMemory memory(kFirstGeneration);
    const Bytes bytes = {1, 2};

    EXPECT_TRUE(memory.Write(0x2000'FFFE, bytes));
    EXPECT_EQ(memory.Bytes(0x2000'FFFE, 2), bytes);
    for (const std::uint32_t address : {0U, 0x1FFF'FFFFU, 0x2000'FFFFU, 0x5000'3000U}) {
        EXPECT_FALSE(memory.Write(address, bytes)) << address;
    }
    EXPECT_EQ(memory.flash[0], 0xFF);
}

TEST(ChipMemory, HasRegistersThatAreWords) {
    ChipMemory memory({0x2000, 44, 2, 0});

    EXPECT_EQ(memory.Word(0x4003'002C), 44U);
    EXPECT_EQ(memory.Word(0x4008'2250), 2U);
    memory.SetWord(0x4008'2250, 7);
    EXPECT_EQ(memory.Word(0x4008'2250), 7U);
    EXPECT_EQ(memory.FlashSize(), 44U * 0x2000);
}

}  // namespace
}  // namespace flash::simulation
