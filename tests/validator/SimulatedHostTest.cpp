// The validator's own host and chip: what the checks rely on.
#include <gtest/gtest.h>

#include <cstring>

#include "validator/SimulatedHost.h"

namespace flash::validator {
namespace {

struct Block {
    std::uint32_t address;
    std::uint32_t length;
    std::uint32_t command;
    std::uint32_t crc;
    std::uint32_t status;
};

class StartedFlashloader : public testing::Test {
protected:
    void SetUp() override {
        host.LoadProgram("flashloader.out", "", "");
        host.RunTarget();
    }

    void Post(std::uint32_t block, const Block& bytes) {
        ASSERT_EQ(host.WriteMemory(&bytes, sizeof bytes, kBlocks + block * kBlockStride, 1, 1), nullptr);
    }

    std::uint32_t Poll(std::uint32_t block) {
        std::uint32_t status = 0;
        EXPECT_EQ(host.ReadMemory(&status, 1, host.chip.StatusAddress(block), 1, 4), nullptr);
        return status;
    }

    SimulatedHost host;
};

TEST_F(StartedFlashloader, BothBlocksReadAsDone) {
    EXPECT_EQ(Poll(0), 0U);
    EXPECT_EQ(Poll(1), 0U);
}

TEST_F(StartedFlashloader, ProgramsFromTheBufferWhenItIsPolled) {
    const std::uint8_t data[] = {0x12, 0x34};
    host.WriteMemory(data, 2, kBuffers[1], 1, 1);
    Post(1, {0x1000, 2, 3, 0, kStatusNotDone});
    EXPECT_EQ(host.chip.flash[0x1000], 0xFF);

    EXPECT_EQ(Poll(1), 0U);

    EXPECT_EQ(host.chip.flash[0x1000], 0x12);
    EXPECT_EQ(host.chip.flash[0x1001], 0x34);
}

TEST_F(StartedFlashloader, ABufferThatIsReusedTooEarlySpoilsTheChunk) {
    const std::uint8_t first[] = {0x12};
    const std::uint8_t second[] = {0x56};
    host.WriteMemory(first, 1, kBuffers[0], 1, 1);
    Post(0, {0x1000, 1, 3, 0, kStatusNotDone});
    host.WriteMemory(second, 1, kBuffers[0], 1, 1);

    EXPECT_EQ(Poll(0), 0U);

    EXPECT_EQ(host.chip.flash[0x1000], 0x56);
}

TEST_F(StartedFlashloader, AnswersAfterTheWantedPolls) {
    host.chip.pollsBeforeAnswer = 2;
    Post(0, {0, 0, 1, 0, kStatusNotDone});

    EXPECT_EQ(Poll(0), kStatusNotDone);
    EXPECT_EQ(Poll(0), kStatusNotDone);
    EXPECT_EQ(Poll(0), 0U);
}

TEST_F(StartedFlashloader, OnlyClearsBitsWithoutAnErase) {
    host.chip.flash[0x1000] = 0x0F;
    const std::uint8_t data[] = {0xF3};
    host.WriteMemory(data, 1, kBuffers[0], 1, 1);
    Post(0, {0x1000, 1, 2, 0, kStatusNotDone});

    Poll(0);

    EXPECT_EQ(host.chip.flash[0x1000], 0x03);
}

TEST_F(StartedFlashloader, RefusesWhatLiesBeyondFlash) {
    Post(0, {0xFFFF'FFF0, 0x20, 3, 0, kStatusNotDone});

    EXPECT_EQ(Poll(0), 0x104U);
}

TEST(SimulatedHost, DestroysATextWithTheNextCall) {
    SimulatedHost host;
    host.failingService = Service::RunTarget;
    EXPECT_STREQ(host.RunTarget(), host.failureText.c_str());

    EXPECT_STREQ(host.GetProperty("FlashEraseSetting"), "Necessary Sectors Only");
    EXPECT_EQ(host.GetProperty("NoSuchProperty"), nullptr);
}

TEST(SimulatedHost, FailsTheChosenCallOnce) {
    SimulatedHost host;
    host.failingCall = 1;

    EXPECT_EQ(host.HaltTarget(), nullptr);
    EXPECT_NE(host.HaltTarget(), nullptr);
    EXPECT_EQ(host.HaltTarget(), nullptr);
    EXPECT_TRUE(host.hasFailed);
}

TEST(SimulatedHost, HasNothingBetweenItsMemories) {
    SimulatedHost host;
    std::uint8_t byte = 0;

    EXPECT_STREQ(host.ReadMemory(&byte, 1, 0x2'0000, 1, 1), "nothing to read at 0x20000");
    EXPECT_STREQ(host.WriteMemory(&byte, 1, 0, 1, 1), "nothing to write at 0x0");
}

}  // namespace
}  // namespace flash::validator
