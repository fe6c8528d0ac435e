#include "tests/chip/ChipRig.h"

namespace flash::chip {
namespace {

using std::chrono::milliseconds;

constexpr std::uint32_t kStack = kSramBase + 0x1000;
constexpr std::uint32_t kMain = 0x100;

// movs r0, #0; loop: adds r0, #1; adds r1, #1; b loop
const std::vector<std::uint8_t> kCounting = {0x00, 0x20, 0x01, 0x30, 0x01, 0x31, 0xFC, 0xE7};
constexpr std::uint32_t kLoop = kMain + 2;

class ABoard : public ChipRig {
protected:
    ABoard() {
        PlaceWord(0, kStack);
        PlaceWord(4, kMain | 1);
        chip.PlaceInFlash(kMain, kCounting);
        chip.Allow(Execution::FlashToo);
        chip.Restart();
    }

    void PlaceWord(std::uint32_t address, std::uint32_t word) {
        const std::vector<std::uint8_t> bytes = {static_cast<std::uint8_t>(word), static_cast<std::uint8_t>(word >> 8),
                                                 static_cast<std::uint8_t>(word >> 16),
                                                 static_cast<std::uint8_t>(word >> 24)};
        chip.PlaceInFlash(address, bytes);
    }
    std::uint32_t Pc() { return chip.ReadCoreRegister(CoreRegister::Pc); }
};

TEST_F(ABoard, StartsFromItsVectors) {
    EXPECT_EQ(chip.State(), CoreState::Halted);
    EXPECT_EQ(chip.ReadCoreRegister(CoreRegister::Sp), kStack);
    EXPECT_EQ(Pc(), kMain);
}

TEST_F(ABoard, RunsFromFlash) {
    chip.Run();
    EXPECT_FALSE(chip.PauseWhileRunning(milliseconds(1)));

    EXPECT_GT(HaltAndRead(CoreRegister::R0), 1000u);
    EXPECT_EQ(chip.ViolationTotal(), 0u);
}

TEST_F(ABoard, StepsOneInstructionAtATime) {
    for (const std::uint32_t expected : {kLoop, kLoop + 2, kLoop + 4, kLoop, kLoop + 2}) {
        chip.StepInstruction();
        EXPECT_EQ(Pc(), expected);
        EXPECT_EQ(chip.State(), CoreState::Halted);
    }
    EXPECT_EQ(chip.ReadCoreRegister(CoreRegister::R0), 2u);
}

TEST_F(ABoard, StopsBeforeABreakpointAndGoesOnFromThere) {
    chip.InsertBreakpoint(kLoop + 2);
    for (std::uint32_t round = 1; round <= 3; ++round) {
        chip.Run();
        EXPECT_TRUE(chip.PauseWhileRunning(milliseconds(1)));
        EXPECT_EQ(Pc(), kLoop + 2);
        EXPECT_EQ(chip.ReadCoreRegister(CoreRegister::R0), round);
        EXPECT_EQ(chip.ReadCoreRegister(CoreRegister::R1), round - 1);
    }
    chip.RemoveBreakpoint(kLoop + 2);
    chip.Run();
    EXPECT_FALSE(chip.PauseWhileRunning(milliseconds(1)));
}

TEST_F(ABoard, StepsOffABreakpoint) {
    chip.InsertBreakpoint(kMain);
    chip.StepInstruction();

    EXPECT_EQ(Pc(), kLoop);
}

TEST_F(ABoard, HasAsManyBreakpointsAsItSays) {
    for (std::uint32_t i = 0; i < kHardwareBreakpointCount; ++i) {
        chip.InsertBreakpoint(0x200 + 2 * i);
    }
    EXPECT_THROW(chip.InsertBreakpoint(0x300), ChipError);
    chip.RemoveBreakpoint(0x200);
    chip.InsertBreakpoint(0x300);
}

TEST_F(ABoard, StopsAtABreakpointInItsCode) {
    chip.PlaceInFlash(kLoop, std::vector<std::uint8_t>{0x00, 0xBE});  // bkpt
    chip.Restart();
    chip.Run();

    EXPECT_TRUE(chip.PauseWhileRunning(milliseconds(1)));
    EXPECT_EQ(chip.State(), CoreState::Halted);
    EXPECT_EQ(Pc(), kLoop);
}

TEST_F(ABoard, LocksUpInWordsWhenItLeavesItsMemory) {
    PlaceWord(4, 0x1000'0001);
    chip.Restart();
    chip.Run();

    EXPECT_TRUE(chip.PauseWhileRunning(milliseconds(1)));
    EXPECT_EQ(chip.State(), CoreState::LockedUp);
    EXPECT_EQ(chip.TroubleText(), "The core left flash and SRAM for 0x10000000.");
    chip.Restart();
    EXPECT_EQ(chip.TroubleText(), "");
}

TEST_F(ABoard, RunsWhatFlashHoldsNow) {
    chip.Run();
    chip.PauseWhileRunning(milliseconds(1));
    chip.Halt();
    chip.PlaceInFlash(kLoop, std::vector<std::uint8_t>{0x02, 0x30});  // adds r0, #2
    chip.Allow(Execution::FlashToo);
    chip.Restart();
    chip.StepInstruction();
    chip.StepInstruction();

    EXPECT_EQ(chip.ReadCoreRegister(CoreRegister::R0), 2u);
}

TEST_F(ABoard, IsStrictAgainAfterPowerOn) {
    chip.PowerCycle();
    chip.Restart();
    chip.Run();

    EXPECT_TRUE(chip.PauseWhileRunning(milliseconds(1)));
    EXPECT_EQ(chip.TroubleText(), "The core left SRAM for 0x00000100.");
    EXPECT_EQ(chip.Count(Violation::ExecutionOutsideSram), 1u);
}

TEST_F(ABoard, StepsOnlyAHaltedCore) {
    chip.Run();

    EXPECT_THROW(chip.StepInstruction(), ChipError);
}

}  // namespace
}  // namespace flash::chip
