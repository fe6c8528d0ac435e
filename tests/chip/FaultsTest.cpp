// Each fault comes true exactly where it was placed, and leaves behind what it should.
#include <bit>

#include "tests/chip/ChipRig.h"

namespace flash::chip {
namespace {

using std::chrono::microseconds;
using std::chrono::milliseconds;

class FaultsTest : public ChipRig {
protected:
    void ExpectNoPower() {
        EXPECT_FALSE(chip.IsPowered());
        EXPECT_THROW(chip.ReadWord(0), ChipError);
        chip.PowerOn();
        EXPECT_EQ(ReadStatus(), Status::Ready);
    }
};

TEST_F(FaultsTest, AFaultAtZeroIsRefused) { EXPECT_THROW(chip.Arm(Fault::StuckBusy, 0), ChipError); }

TEST_F(FaultsTest, PowerLossBeforeAnOperationLeavesFlashUntouched) {
    chip.Arm(Fault::PowerLossBeforeOperation, 2);
    Finish(kProgramWordCode, 0, 0);
    ASSERT_TRUE(chip.IsPowered());

    Command(kProgramWordCode, 4, 0);

    EXPECT_EQ(chip.GetCounters().flashOperations, 1U);
    ExpectNoPower();
    EXPECT_EQ(chip.PeekWord(0), 0U);
    EXPECT_EQ(chip.PeekWord(4), 0xFFFF'FFFFU);
}

TEST_F(FaultsTest, PowerLossInsideAProgramLeavesATornWord) {
    chip.Arm(Fault::PowerLossInsideOperation);
    Command(kProgramWordCode, 0, 0);
    const Nanoseconds start = chip.Now();

    chip.Pause(microseconds(20));

    EXPECT_EQ(EventsOf(EventKind::PowerOff).at(0).start - start, microseconds(4));
    ExpectNoPower();
    EXPECT_NE(chip.PeekWord(0), 0U);
    EXPECT_NE(chip.PeekWord(0), 0xFFFF'FFFFU);
}

TEST_F(FaultsTest, PowerLossInsideAnEraseLeavesAHalfErasedSector) {
    chip.PlaceInFlash(0, std::vector<std::uint8_t>(8192));
    chip.Arm(Fault::PowerLossInsideOperation);
    Command(kEraseSectorCode, 0);

    chip.Pause(milliseconds(20));

    ExpectNoPower();
    int bits = 0;
    for (const std::uint8_t byte : chip.Flash().first(4096)) {
        bits += std::popcount(byte);
    }
    EXPECT_GT(bits, 1000);
    EXPECT_LT(bits, 31'000);
    EXPECT_EQ(chip.PeekWord(4096), 0U);
}

TEST_F(FaultsTest, PowerLossInsideABankEraseTearsEverySector) {
    chip.PlaceInFlash(0, std::vector<std::uint8_t>(chip.FlashBytes()));
    chip.Arm(Fault::PowerLossInsideOperation);
    Command(kEraseBankCode, 0);

    chip.Pause(milliseconds(30));

    ExpectNoPower();
    for (std::uint32_t sector = 0; sector < 32; ++sector) {
        EXPECT_NE(chip.PeekMemory(sector * 4096, 4096), std::vector<std::uint8_t>(4096, 0xFF));
        EXPECT_NE(chip.PeekMemory(sector * 4096, 4096), std::vector<std::uint8_t>(4096, 0x00));
    }
}

TEST_F(FaultsTest, PowerLossAfterAnOperationComesWhenItIsComplete) {
    chip.Arm(Fault::PowerLossAfterOperation);
    Command(kProgramWordCode, 0, 0x1234'5678);
    EXPECT_TRUE(chip.IsPowered());

    chip.Pause(microseconds(8));

    ExpectNoPower();
    EXPECT_EQ(chip.PeekWord(0), 0x1234'5678U);
}

TEST_F(FaultsTest, PowerLossStopsTheCoreThatCausedIt) {
    chip.Arm(Fault::PowerLossBeforeOperation);

    RunCode(kOperateAndPoll, {kCommandRegister, 0, 0, kCommandKey | kProgramWordCode});

    EXPECT_FALSE(chip.IsPowered());
    EXPECT_EQ(chip.State(), CoreState::Halted);
    EXPECT_EQ(chip.GetCounters().instructions, 3U);
}

TEST_F(FaultsTest, TornOperationsFollowTheSeed) {
    const auto tornWord = [](std::uint64_t seed) {
        Settings settings;
        settings.seed = seed;
        VirtualChip other(settings);
        other.Arm(Fault::PowerLossInsideOperation);
        other.WriteWord(kDataRegister, 0);
        other.WriteWord(kCommandRegister, kCommandKey | kProgramWordCode);
        other.Pause(milliseconds(1));
        return other.PeekWord(0);
    };

    EXPECT_EQ(tornWord(1), tornWord(1));
    EXPECT_NE(tornWord(1), tornWord(2));
}

TEST_F(FaultsTest, PowerLossAtATransferHasNoOtherEffect) {
    chip.WriteWord(kDataAddress, 1);
    chip.Arm(Fault::PowerLossAtTransfer, 2);
    chip.ReadWord(kDataAddress);

    EXPECT_THROW(chip.WriteWord(kDataRegister, 5), ChipError);

    EXPECT_FALSE(chip.IsPowered());
    chip.PowerOn();
    EXPECT_EQ(chip.ReadWord(kDataRegister), 0U);
}

TEST_F(FaultsTest, ALinkErrorFailsOneTransfer) {
    const std::vector<std::uint8_t> bytes(100, 0xAB);
    chip.WriteMemory(kDataAddress, std::vector<std::uint8_t>(100, 0xCD));
    chip.Arm(Fault::LinkErrorAtTransfer);

    EXPECT_THROW(chip.WriteMemory(kDataAddress, bytes), ChipError);

    const std::vector<std::uint8_t> after = chip.PeekMemory(kDataAddress, 100);
    EXPECT_EQ(after.back(), 0xCD);  // a first part arrived, never all
    chip.WriteMemory(kDataAddress, bytes);
    EXPECT_EQ(chip.PeekMemory(kDataAddress, 100), bytes);
}

TEST_F(FaultsTest, ALinkErrorLeavesRegistersAlone) {
    chip.Arm(Fault::LinkErrorAtTransfer);

    EXPECT_THROW(chip.WriteWord(kDataRegister, 5), ChipError);

    EXPECT_EQ(chip.ReadWord(kDataRegister), 0U);
}

TEST_F(FaultsTest, ACoreMayStopAnsweringAtAnOperation) {
    chip.Arm(Fault::CoreStopsAtOperation);

    RunCode(kOperateAndPoll, {kCommandRegister, 0, 0, kCommandKey | kProgramWordCode});

    EXPECT_EQ(chip.State(), CoreState::LockedUp);
    EXPECT_EQ(chip.PeekWord(0), 0U);  // the operation went on
    EXPECT_EQ(chip.ViolationTotal(), 0U);
}

TEST_F(FaultsTest, ACoreMayStopAnsweringAtATransfer) {
    StartCode({kEndlessLoop});
    chip.Arm(Fault::CoreStopsAtTransfer, 2);
    EXPECT_TRUE(chip.IsRunning());

    EXPECT_FALSE(chip.IsRunning());

    EXPECT_EQ(chip.State(), CoreState::LockedUp);
}

TEST_F(FaultsTest, AnOperationMayFail) {
    chip.Arm(Fault::OperationFails);

    EXPECT_EQ(Finish(kProgramWordCode, 0, 0), Status::OperationFailed);

    EXPECT_NE(chip.PeekWord(0), 0U);
    EXPECT_EQ(Finish(kProgramWordCode, 0, 0), Status::Success);
    EXPECT_EQ(chip.PeekWord(0), 0U);
}

TEST_F(FaultsTest, AnOperationMayDoNothingAndLie) {
    chip.Arm(Fault::OperationDoesNothing);

    EXPECT_EQ(Finish(kProgramWordCode, 0, 0), Status::Success);

    EXPECT_EQ(chip.PeekWord(0), 0xFFFF'FFFFU);
}

TEST_F(FaultsTest, AnEarlyReadyHidesAnOperationThatStillRuns) {
    chip.Arm(Fault::EarlyReady);
    Command(kEraseSectorCode, 0);

    EXPECT_EQ(ReadStatus(), Status::Success);
    Command(kProgramWordCode, 0, 0);

    EXPECT_EQ(chip.Count(Violation::CommandWhileBusy), 1U);
    chip.Pause(milliseconds(8));
    EXPECT_EQ(chip.PeekWord(0), 0xFFFF'FFFFU);
}

TEST_F(FaultsTest, ALateReadyKeepsEverybodyWaiting) {
    chip.Arm(Fault::LateReady);
    Command(kEraseSectorCode, 0);

    chip.Pause(milliseconds(79));
    EXPECT_EQ(ReadStatus(), Status::Busy);
    chip.Pause(milliseconds(1));

    EXPECT_EQ(ReadStatus(), Status::Success);
}

TEST_F(FaultsTest, AStuckControllerStaysBusyUntilAReset) {
    chip.Arm(Fault::StuckBusy);
    Command(kProgramWordCode, 0, 0);

    chip.Pause(std::chrono::seconds(10));
    EXPECT_EQ(ReadStatus(), Status::Busy);
    chip.DisarmAll();
    EXPECT_EQ(ReadStatus(), Status::Busy);
    chip.Reset();

    EXPECT_EQ(Finish(kProgramWordCode, 0, 0), Status::Success);
}

TEST_F(FaultsTest, ABitMayRefuseToBeProgrammed) {
    chip.ArmBitThatWillNotProgram(0x102, 7);

    EXPECT_EQ(Finish(kProgramWordCode, 0x100, 0), Status::OperationFailed);
    EXPECT_EQ(Finish(kProgramWordCode, 0x104, 0), Status::Success);

    EXPECT_EQ(chip.PeekWord(0x100), 0x0080'0000U);
    EXPECT_THROW(chip.ArmBitThatWillNotProgram(0x2'0000, 0), ChipError);
    EXPECT_THROW(chip.ArmBitThatWillNotProgram(0, 8), ChipError);
}

TEST_F(FaultsTest, ABitMayFlipAndTheControllerLie) {
    chip.ArmBitThatFlips(0x102, 7);

    EXPECT_EQ(Finish(kProgramWordCode, 0x100, 0), Status::Success);

    EXPECT_EQ(chip.PeekWord(0x100), 0x0080'0000U);
    EXPECT_THROW(chip.ArmBitThatFlips(0x2'0000, 0), ChipError);
}

TEST_F(FaultsTest, DisarmedBitsAreWellAgain) {
    chip.ArmBitThatWillNotProgram(0, 0);
    chip.ArmBitThatFlips(0, 1);
    chip.DisarmAll();

    EXPECT_EQ(Finish(kProgramWordCode, 0, 0), Status::Success);
    EXPECT_EQ(chip.PeekWord(0), 0U);
}

TEST_F(FaultsTest, DisarmedFaultsDoNotHappen) {
    chip.Arm(Fault::PowerLossBeforeOperation);
    chip.Arm(Fault::LinkErrorAtTransfer);
    chip.DisarmAll();

    EXPECT_EQ(Finish(kProgramWordCode, 0, 0), Status::Success);
}

TEST_F(FaultsTest, EveryFaultThatComesTrueIsOnTheTimeline) {
    chip.Arm(Fault::OperationDoesNothing);
    Finish(kProgramWordCode, 0, 0);

    ASSERT_EQ(EventsOf(EventKind::Fault).size(), 1U);
    EXPECT_EQ(EventsOf(EventKind::Fault)[0].value, static_cast<std::uint32_t>(Fault::OperationDoesNothing));
}

}  // namespace
}  // namespace flash::chip
