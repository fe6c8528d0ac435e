// The core: what it executes, how its time runs, and what locks it up.
#include <algorithm>

#include "tests/chip/ChipRig.h"

namespace flash::chip {
namespace {

using std::chrono::microseconds;
using std::chrono::milliseconds;

class EmulatedCoreTest : public ChipRig {
protected:
    void ExpectLockUp(Violation violation, std::uint32_t address) {
        EXPECT_EQ(chip.State(), CoreState::LockedUp);
        EXPECT_EQ(chip.Count(violation), 1U);
        EXPECT_EQ(chip.ViolationTotal(), 1U);
        const std::vector<Event> events = EventsOf(EventKind::LockUp);
        ASSERT_EQ(events.size(), 1U);
        EXPECT_EQ(events[0].address, address) << events[0].text;
    }
};

TEST_F(EmulatedCoreTest, RunsCodeInSram) {
    RunCode({0x1840, kEndlessLoop}, {40, 2});  // adds r0, r0, r1

    EXPECT_EQ(HaltAndRead(CoreRegister::R0), 42U);
    EXPECT_EQ(chip.ReadCoreRegister(CoreRegister::Pc), kCodeAddress + 2);
}

TEST_F(EmulatedCoreTest, SeesCodeThatTheProbeReplaced) {
    RunCode({0x2001, kEndlessLoop});  // movs r0, #1
    RunCode({0x2002, kEndlessLoop});  // movs r0, #2

    EXPECT_EQ(HaltAndRead(CoreRegister::R0), 2U);
}

TEST_F(EmulatedCoreTest, SeesCodeThatItReplacedItself) {
    const std::vector<std::uint16_t> patchAndRun = {
        0x8001,        // strh r1, [r0, #0]
        0x4710,        // bx r2
        kEndlessLoop,  // b .
        0x2307,        // movs r3, #7: replaced by r1
        kEndlessLoop,  // b .
    };

    RunCode(patchAndRun, {kCodeAddress + 6, 0x2309, (kCodeAddress + 6) | 1});  // movs r3, #9

    EXPECT_EQ(HaltAndRead(CoreRegister::R3), 9U);
}

TEST_F(EmulatedCoreTest, ReadsFlashAndFactoryDataAndTheCcfgWindow) {
    const std::vector<std::uint8_t> mark = {0x11, 0x22, 0x33, 0x44};
    chip.PlaceInFlash(0x1'FFF0, mark);

    RunCode({0x6803, 0x680C, 0x6815, kEndlessLoop},  // ldr r3, [r0]; ldr r4, [r1]; ldr r5, [r2]
            {0x1'FFF0, kCcfgWindowBase + 0xFF0, kFactoryBase});

    EXPECT_EQ(HaltAndRead(CoreRegister::R3), 0x4433'2211U);
    EXPECT_EQ(chip.ReadCoreRegister(CoreRegister::R4), 0x4433'2211U);
    EXPECT_EQ(chip.ReadCoreRegister(CoreRegister::R5), 0xFFFF'FFFFU);
    EXPECT_EQ(chip.ViolationTotal(), 0U);
}

TEST_F(EmulatedCoreTest, ExecutesOneInstructionPerCycle) {
    StartCode({kEndlessLoop});
    const std::uint64_t before = chip.GetCounters().instructions;

    chip.Pause(microseconds(1000));

    EXPECT_EQ(chip.GetCounters().instructions - before, 48000U);
}

TEST_F(EmulatedCoreTest, RunsDuringTransfers) {
    StartCode({kEndlessLoop});
    const std::uint64_t before = chip.GetCounters().instructions;

    chip.ReadWord(kCodeAddress);  // 100 us and 4 bytes

    EXPECT_EQ(chip.GetCounters().instructions - before, 104U * 48);
}

TEST_F(EmulatedCoreTest, StandsStillWhenHalted) {
    RunCode({kEndlessLoop});
    chip.Halt();
    const std::uint64_t before = chip.GetCounters().instructions;

    chip.Pause(milliseconds(1));

    EXPECT_EQ(chip.GetCounters().instructions, before);
}

// A loop of conditional instructions, of which the engine stops in front of none.
TEST_F(EmulatedCoreTest, CountsTheSameHoweverItsTimeIsCut) {
    const std::vector<std::uint16_t> code = {
        0x2000, 0x2100,  // movs r0, #0; movs r1, #0
        0x3001,          // loop: adds r0, #1
        0xF010, 0x0F01,  // tst r0, #1
        0xBF19,          // ittee ne
        0x3103, 0x3105,  // addne r1, #3; addne r1, #5
        0x3107, 0x3109,  // addeq r1, #7; addeq r1, #9
        0xF010, 0x0F02,  // tst r0, #2
        0xBF08,          // it eq
        0xE7F3,          // beq loop
        0xE7F2,          // b loop
    };
    StartCode(code);
    chip.Pause(microseconds(100));
    chip.Halt();
    const std::uint64_t instructions = chip.GetCounters().instructions;
    const std::uint32_t sum = chip.ReadCoreRegister(CoreRegister::R1);
    ASSERT_GT(sum, 1000U);

    StartCode(code);
    for (int i = 0; i < 10'000; ++i) {
        chip.Pause(Nanoseconds(10));  // less than a cycle
    }
    chip.Halt();

    EXPECT_EQ(chip.ReadCoreRegister(CoreRegister::R1), sum);
    EXPECT_EQ(chip.GetCounters().instructions, 2 * instructions);
}

TEST_F(EmulatedCoreTest, SlowClocksTakeTheirTime) {
    Settings settings;
    settings.timing.coreClockHz = 3;
    settings.timing.linkLatency = Nanoseconds::zero();
    VirtualChip slow(settings);
    const std::vector<std::uint8_t> loop = {0xFE, 0xE7};
    slow.WriteMemory(kCodeAddress, loop);
    slow.WriteCoreRegister(CoreRegister::Pc, kCodeAddress);
    slow.Run();

    slow.Pause(std::chrono::seconds(7));

    EXPECT_EQ(slow.GetCounters().instructions, 21U);
}

TEST_F(EmulatedCoreTest, StartUpOfARealProgramIsPossible) {
    const std::vector<std::uint16_t> startUp = {
        0xB672,                // cpsid i
        0x2000,                // movs r0, #0
        0xF380,       0x8814,  // msr control, r0
        0xF3BF,       0x8F6F,  // isb
        0x600A,                // str r2, [r1]: the vector table
        0x680B,                // ldr r3, [r1]
        kEndlessLoop,          // b .
    };

    RunCode(startUp, {0, kVectorTableRegister, kSramBase});

    EXPECT_EQ(chip.State(), CoreState::Running);
    EXPECT_EQ(chip.ViolationTotal(), 0U);
    EXPECT_EQ(HaltAndRead(CoreRegister::R3), kSramBase);
}

// ---- Rules

TEST_F(EmulatedCoreTest, ExecutionOutsideSramLocksItUp) {
    const struct {
        const char* name;
        std::uint32_t target;
    } cases[] = {
        {"flash", 0x100},
        {"the CCFG window", kCcfgWindowBase},
        {"nothing", 0x3000'0000},
        {"registers", kControllerPage},
        {"the end of SRAM", kSramBase + 0x5000},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const std::uint64_t before = chip.Count(Violation::ExecutionOutsideSram);

        RunCode({0x4700}, {c.target | 1});  // bx r0

        EXPECT_EQ(chip.State(), CoreState::LockedUp);
        EXPECT_EQ(chip.Count(Violation::ExecutionOutsideSram), before + 1);
        EXPECT_EQ(EventsOf(EventKind::LockUp).back().address, c.target);
    }
}

TEST_F(EmulatedCoreTest, RunningBeyondASmallSramLocksItUp) {
    Settings settings;
    settings.ramBytes = 0x800;  // half a page of the emulator's memory
    VirtualChip small(settings);
    const std::vector<std::uint8_t> nop = {0x00, 0xBF};
    small.WriteMemory(kSramBase + 0x7FE, nop);
    small.WriteCoreRegister(CoreRegister::Pc, kSramBase + 0x7FE);

    small.Run();
    small.Pause(microseconds(10));

    EXPECT_EQ(small.State(), CoreState::LockedUp);
    EXPECT_EQ(small.Count(Violation::ExecutionOutsideSram), 1U);
    EXPECT_EQ(small.GetCounters().instructions, 1U);
}

TEST_F(EmulatedCoreTest, ReadingSramThatNobodyWroteIsCounted) {
    RunCode({0x6801, kEndlessLoop}, {kDataAddress});  // ldr r1, [r0]

    EXPECT_EQ(chip.State(), CoreState::Running);
    EXPECT_EQ(chip.Count(Violation::CoreReadOfUnwrittenSram), 1U);
    EXPECT_EQ(EventsOf(EventKind::Violation).at(0).address, kDataAddress);
}

TEST_F(EmulatedCoreTest, OneUnwrittenByteOfAWordIsEnough) {
    const std::vector<std::uint8_t> threeBytes = {1, 2, 3};
    chip.WriteMemory(kDataAddress, threeBytes);

    RunCode({0x6801, kEndlessLoop}, {kDataAddress});  // ldr r1, [r0]

    EXPECT_EQ(chip.Count(Violation::CoreReadOfUnwrittenSram), 1U);
}

TEST_F(EmulatedCoreTest, SramThatTheCoreOrTheProbeWroteMayBeRead) {
    chip.WriteWord(kDataAddress, 1);

    RunCode({0x6801, 0x6041, 0x6842, kEndlessLoop},
            {kDataAddress});  // ldr r1, [r0]; str r1, [r0, #4]; ldr r2, [r0, #4]

    EXPECT_EQ(chip.ViolationTotal(), 0U);
    EXPECT_EQ(HaltAndRead(CoreRegister::R2), 1U);
}

TEST_F(EmulatedCoreTest, ExecutingSramThatNobodyWroteIsCounted) {
    chip.WriteMemory(kDataAddress + 2, std::vector<std::uint8_t>{0xFE, 0xE7});

    RunCode({0x4700}, {kDataAddress | 1});  // bx r0, into two bytes of junk

    EXPECT_GE(chip.Count(Violation::CoreReadOfUnwrittenSram), 1U);
}

TEST_F(EmulatedCoreTest, BusFaultsLockItUp) {
    const struct {
        const char* name;
        std::uint16_t instruction;
        std::uint32_t address;
    } cases[] = {
        {"read of nothing", 0x6801, 0x3000'0000},               // ldr r1, [r0]
        {"write to nothing", 0x6001, 0x3000'0000},              // str r1, [r0]
        {"write to flash", 0x6001, 0x100},                      // str r1, [r0]
        {"write to the CCFG window", 0x7001, kCcfgWindowBase},  // strb r1, [r0]
        {"write to factory data", 0x8001, kFactoryBase},        // strh r1, [r0]
    };
    std::uint64_t expected = 0;
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        RunCode({c.instruction, kEndlessLoop}, {c.address});

        EXPECT_EQ(chip.State(), CoreState::LockedUp);
        EXPECT_EQ(chip.Count(Violation::CoreBusFault), ++expected);
        EXPECT_EQ(EventsOf(EventKind::LockUp).back().address, c.address);
    }
    EXPECT_TRUE(std::ranges::all_of(chip.Flash(), [](std::uint8_t byte) { return byte == 0xFF; }));
}

TEST_F(EmulatedCoreTest, SramBehindItsEndIsABusFault) {
    Settings settings;
    settings.ramSizeCode = 1;  // 10 KiB, two and a half pages
    VirtualChip small(settings);
    small.WriteMemory(kCodeAddress, std::vector<std::uint8_t>{0x01, 0x68, 0xFE, 0xE7});  // ldr r1, [r0]; b .
    small.WriteCoreRegister(CoreRegister::R0, kSramBase + 0x2800);
    small.WriteCoreRegister(CoreRegister::Pc, kCodeAddress);

    small.Run();

    EXPECT_FALSE(small.IsRunning());
    EXPECT_EQ(small.Count(Violation::CoreBusFault), 1U);
}

TEST_F(EmulatedCoreTest, InstructionsThatItCannotExecuteLockItUp) {
    const struct {
        const char* name;
        std::vector<std::uint16_t> code;
    } cases[] = {
        {"undefined", {0xDE00}},
        {"system call", {0xDF00}},
        {"break point", {0xBE00}},
        {"sleep for ever", {0xBF30}},
        {"undefined, wide", {0xF7F0, 0xA000}},
    };
    std::uint64_t expected = 0;
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        RunCode(c.code);

        EXPECT_EQ(chip.State(), CoreState::LockedUp);
        EXPECT_EQ(chip.Count(Violation::CoreFault), ++expected);
    }
}

TEST_F(EmulatedCoreTest, RegistersAreReachedInWholeWordsOnly) {
    const struct {
        const char* name;
        std::uint16_t instruction;
        std::uint32_t address;
    } cases[] = {
        {"byte read", 0x7801, kSizeRegister},          {"half-word read", 0x8801, kSizeRegister},
        {"byte write", 0x7001, kDataRegister},         {"half-word write", 0x8001, kDataRegister},
        {"unaligned read", 0x6801, kDataRegister - 2},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const std::uint64_t before = chip.Count(Violation::RegisterMisuse);

        RunCode({c.instruction, kEndlessLoop}, {c.address, 0x5A5A'5A5A});

        EXPECT_GT(chip.Count(Violation::RegisterMisuse), before);
        EXPECT_EQ(chip.ReadWord(kDataRegister), 0U);
    }
}

TEST_F(EmulatedCoreTest, ALockUpEndsWithAHaltAndANewStart) {
    RunCode({0x4700}, {0x101});  // bx r0
    ASSERT_EQ(chip.State(), CoreState::LockedUp);
    chip.Run();
    EXPECT_FALSE(chip.IsRunning());

    RunCode({0x2005, kEndlessLoop});  // movs r0, #5

    EXPECT_EQ(chip.State(), CoreState::Running);
    EXPECT_EQ(HaltAndRead(CoreRegister::R0), 5U);
}

TEST_F(EmulatedCoreTest, AFaultInsideAConditionalBlockLeavesNothingBehind) {
    const std::vector<std::uint16_t> faultInBlock = {
        0x2800,  // cmp r0, #0
        0xBF06,  // itte eq
        0x6811,  // ldreq r1, [r2]: reads from nothing
        0x2107,  // moveq r1, #7
        0x2109,  // movne r1, #9
    };
    RunCode(faultInBlock, {0, 0, 0x3000'0000});
    ASSERT_EQ(chip.State(), CoreState::LockedUp);

    RunCode({0x2301, 0x2402, 0x2503, 0x2604, kEndlessLoop});  // movs r3, #1; movs r4, #2; movs r5, #3; movs r6, #4

    EXPECT_EQ(HaltAndRead(CoreRegister::R3), 1U);
    EXPECT_EQ(chip.ReadCoreRegister(CoreRegister::R4), 2U);
    EXPECT_EQ(chip.ReadCoreRegister(CoreRegister::R5), 3U);
    EXPECT_EQ(chip.ReadCoreRegister(CoreRegister::R6), 4U);
}

}  // namespace
}  // namespace flash::chip
