// Power and reset: what is lost, what stays, what is sampled.
#include "tests/chip/ChipRig.h"

namespace flash::chip {
namespace {

using std::chrono::milliseconds;

class PowerTest : public ChipRig {};

TEST_F(PowerTest, APowerCycleLosesSramAndKeepsFlash) {
    chip.WriteWord(kDataAddress, 0x1234'5678);
    Finish(kProgramWordCode, 0, 0);

    chip.PowerCycle();

    EXPECT_EQ(chip.PeekWord(0), 0U);
    chip.ReadWord(kDataAddress);
    EXPECT_EQ(chip.Count(Violation::ProbeReadOfUnwrittenSram), 1U);
}

TEST_F(PowerTest, AResetKeepsSram) {
    chip.WriteWord(kDataAddress, 0x1234'5678);

    chip.Reset();

    EXPECT_EQ(chip.ReadWord(kDataAddress), 0x1234'5678U);
    EXPECT_EQ(chip.ViolationTotal(), 0U);
}

TEST_F(PowerTest, BothHaltTheCoreAndClearItsRegisters) {
    for (const bool isReset : {true, false}) {
        SCOPED_TRACE(isReset);
        RunCode({kEndlessLoop}, {1, 2, 3});

        isReset ? chip.Reset() : chip.PowerCycle();

        EXPECT_EQ(chip.State(), CoreState::Halted);
        EXPECT_EQ(chip.ReadCoreRegister(CoreRegister::R2), 0U);
        EXPECT_EQ(chip.ReadCoreRegister(CoreRegister::Sp), 0U);
        EXPECT_EQ(chip.ReadCoreRegister(CoreRegister::Pc), 0U);
    }
}

TEST_F(PowerTest, BothTearARunningOperation) {
    for (const bool isReset : {true, false}) {
        SCOPED_TRACE(isReset);
        chip.PlaceInFlash(0, std::vector<std::uint8_t>(4, 0xFF));
        Command(kProgramWordCode, 0, 0);

        isReset ? chip.Reset() : chip.PowerCycle();

        EXPECT_EQ(ReadStatus(), Status::Ready);
        EXPECT_NE(chip.PeekWord(0), 0U);
        EXPECT_NE(chip.PeekWord(0), 0xFFFF'FFFFU);
    }
}

TEST_F(PowerTest, TimePassesWithoutPower) {
    chip.PowerOff();
    const Nanoseconds before = chip.Now();

    chip.Pause(milliseconds(5));

    EXPECT_EQ(chip.Now() - before, milliseconds(5));
}

TEST_F(PowerTest, SwitchingTwiceIsSwitchingOnce) {
    chip.PowerOn();
    EXPECT_EQ(EventsOf(EventKind::PowerOn).size(), 1U);
    chip.PowerOff();
    chip.PowerOff();
    EXPECT_EQ(EventsOf(EventKind::PowerOff).size(), 1U);
    chip.Reset();
    EXPECT_FALSE(chip.IsPowered());
    EXPECT_TRUE(EventsOf(EventKind::Reset).empty());
}

TEST_F(PowerTest, TheDebugPortsSwitchIsReadAtPowerUpOnly) {
    chip.PlaceInFlash(chip.FlashBytes() - 0x29, std::vector<std::uint8_t>{0x00});
    chip.Reset();
    EXPECT_FALSE(chip.IsDebugPortDisabled());

    chip.PowerCycle();

    EXPECT_TRUE(chip.IsDebugPortDisabled());
}

TEST_F(PowerTest, OnlyZeroDisablesTheDebugPort) {
    chip.PlaceInFlash(chip.FlashBytes() - 0x29, std::vector<std::uint8_t>{0xC5});

    chip.PowerCycle();

    EXPECT_FALSE(chip.IsDebugPortDisabled());
}

}  // namespace
}  // namespace flash::chip
