// Virtual time: pauses, conditions, watched words, and the same again on a second run.
#include "tests/chip/ChipRig.h"

namespace flash::chip {
namespace {

using std::chrono::microseconds;
using std::chrono::milliseconds;

// Counts down r0 and then writes r2 to r1.
const std::vector<std::uint16_t> kCountDownAndWrite = {
    0x3801,        // loop: subs r0, #1
    0xD1FD,        // bne loop
    0x600A,        // str r2, [r1]
    kEndlessLoop,  // b .
};

class ClockTest : public ChipRig {};

TEST_F(ClockTest, APauseTakesItsTimeToTheNanosecond) {
    const Nanoseconds before = chip.Now();

    chip.Pause(Nanoseconds(1'234'567));

    EXPECT_EQ(chip.Now() - before, Nanoseconds(1'234'567));
    EXPECT_EQ(EventsOf(EventKind::Pause).back().start, before);
    EXPECT_EQ(EventsOf(EventKind::Pause).back().end, chip.Now());
}

TEST_F(ClockTest, TimeDoesNotRunBackwards) {
    EXPECT_THROW(chip.Pause(Nanoseconds(-1)), ChipError);
    EXPECT_THROW(chip.PauseWhileWordIs(kSramBase, 0, Nanoseconds(-1)), ChipError);
    EXPECT_THROW(chip.PauseUntil([] { return false; }, Nanoseconds(-1)), ChipError);
    EXPECT_THROW(chip.PauseUntil([] { return false; }, Nanoseconds(1), Nanoseconds(0)), ChipError);
}

TEST_F(ClockTest, AWatchedWordEndsThePauseAtTheInstructionThatWritesIt) {
    chip.WriteWord(kDataAddress, 0xFFFF'FFFF);
    StartCode(kCountDownAndWrite, {48'000, kDataAddress, 0});
    const Nanoseconds start = chip.Now();

    EXPECT_TRUE(chip.PauseWhileWordIs(kDataAddress, 0xFFFF'FFFF, std::chrono::seconds(2)));

    // 48000 turns of 2 instructions, and the write.
    EXPECT_EQ(chip.Now() - start, Nanoseconds((2 * 48'000 + 1) * 1'000ULL / 48));
    EXPECT_EQ(chip.PeekWord(kDataAddress), 0U);
}

TEST_F(ClockTest, AWatchedWordThatIsWrittenWithoutChangingEndsNothing) {
    chip.WriteWord(kDataAddress, 5);
    StartCode(kCountDownAndWrite, {10, kDataAddress, 5});
    const Nanoseconds start = chip.Now();

    EXPECT_FALSE(chip.PauseWhileWordIs(kDataAddress, 5, milliseconds(1)));

    EXPECT_EQ(chip.Now() - start, milliseconds(1));
}

TEST_F(ClockTest, AWordThatDiffersAlreadyEndsThePauseAtOnce) {
    chip.WriteWord(kDataAddress, 5);
    const Nanoseconds start = chip.Now();

    EXPECT_TRUE(chip.PauseWhileWordIs(kDataAddress, 6, milliseconds(1)));

    EXPECT_EQ(chip.Now(), start);
}

TEST_F(ClockTest, OnlyAlignedWordsOfSramAreWatched) {
    EXPECT_THROW(chip.PauseWhileWordIs(kDataAddress + 2, 0, milliseconds(1)), ChipError);
    EXPECT_THROW(chip.PauseWhileWordIs(0x100, 0, milliseconds(1)), ChipError);
    EXPECT_THROW(chip.PauseWhileWordIs(kSramBase + 0x5000, 0, milliseconds(1)), ChipError);
}

TEST_F(ClockTest, AChipWithoutPowerLetsTheWatchingTimePass) {
    chip.PowerOff();
    const Nanoseconds start = chip.Now();

    EXPECT_FALSE(chip.PauseWhileWordIs(kDataAddress, 0x1234'5678, milliseconds(3)));

    EXPECT_EQ(chip.Now() - start, milliseconds(3));
}

TEST_F(ClockTest, AConditionIsTriedAtTheStartAndAfterEachStep) {
    int tries = 0;
    const Nanoseconds start = chip.Now();

    EXPECT_TRUE(chip.PauseUntil([&tries] { return ++tries == 4; }, milliseconds(10), microseconds(100)));

    EXPECT_EQ(chip.Now() - start, microseconds(300));
}

TEST_F(ClockTest, AConditionThatNeverHoldsEndsAtTheBound) {
    const Nanoseconds start = chip.Now();

    EXPECT_FALSE(chip.PauseUntil([] { return false; }, microseconds(250), microseconds(100)));

    EXPECT_EQ(chip.Now() - start, microseconds(250));
}

TEST_F(ClockTest, AConditionMayUseTheProbe) {
    chip.WriteWord(kDataAddress, 1);
    StartCode(kCountDownAndWrite, {48'000, kDataAddress, 0});

    EXPECT_TRUE(chip.PauseUntil([this] { return chip.ReadWord(kDataAddress) == 0; }, milliseconds(10)));

    EXPECT_EQ(chip.PeekWord(kDataAddress), 0U);
}

std::uint64_t HashOfALifeWithFaults() {
    VirtualChip chip{Settings{}};
    chip.Arm(Fault::OperationFails, 3);
    chip.Arm(Fault::LinkErrorAtTransfer, 5);
    chip.Arm(Fault::PowerLossInsideOperation, 6);
    for (std::uint32_t i = 0; i < 8; ++i) {
        try {
            chip.WriteWord(kAddressRegister, 4 * i);
            chip.WriteWord(kDataRegister, i);
            chip.WriteWord(kCommandRegister, kCommandKey | (i % 3 == 0 ? kEraseSectorCode : kProgramWordCode));
        } catch (const ChipError&) {
            chip.Pause(microseconds(77));
        }
        chip.Pause(milliseconds(9));
    }
    chip.PowerCycle();
    for (const std::uint8_t byte : chip.PeekMemory(0, 64)) {
        chip.AddNote(std::to_string(byte), chip.Now(), chip.Now());
    }
    return chip.TimelineHash();
}

TEST(Determinism, TheSameCallsGiveTheSameTimeline) { EXPECT_EQ(HashOfALifeWithFaults(), HashOfALifeWithFaults()); }

}  // namespace
}  // namespace flash::chip
