// Controllers of another kind: longer units, units that are written once, pages, protection told the other way round,
// no bank erase, a watchdog.
#include <algorithm>
#include <bit>

#include "chip/SavedState.h"
#include "tests/chip/ChipRig.h"

namespace flash::chip {
namespace {

using std::chrono::milliseconds;

Settings With(const ControllerKind& kind) {
    Settings settings;
    settings.controller = kind;
    return settings;
}

class DoubleWordChip : public ChipRig {
protected:
    DoubleWordChip()
        : ChipRig(With({.unitBytes = 8,
                        .isWrittenOnce = true,
                        .pageBytes = 2048,
                        .hasBankErase = false,
                        .protectsWithOnes = true})) {}

    Status Program(std::uint32_t address, std::uint32_t low, std::uint32_t high) {
        chip.WriteWord(kMoreDataRegisters, high);
        return Finish(kProgramWordCode, address, low);
    }
    bool IsBlank(std::uint32_t address) {
        chip.WriteWord(kAddressRegister, address);
        return chip.ReadWord(kBlankRegister) == 1;
    }
};

TEST_F(DoubleWordChip, ProgramsAUnitInOneOperation) {
    EXPECT_EQ(Program(0x1008, 0x0123'4567, 0x89AB'CDEF), Status::Success);

    EXPECT_EQ(chip.PeekWord(0x1008), 0x0123'4567U);
    EXPECT_EQ(chip.PeekWord(0x100C), 0x89AB'CDEFU);
    EXPECT_EQ(chip.PeekWord(0x1004), 0xFFFF'FFFFU);
    EXPECT_EQ(chip.PeekWord(0x1010), 0xFFFF'FFFFU);
    EXPECT_EQ(chip.GetCounters().flashOperations, 1U);
    EXPECT_EQ(chip.ViolationTotal(), 0U);
}

TEST_F(DoubleWordChip, ProgramsAtMultiplesOfAUnitOnly) {
    EXPECT_EQ(Program(0x1004, 0, 0), Status::IncorrectParameter);

    EXPECT_EQ(chip.Count(Violation::UnalignedOperation), 1U);
}

TEST_F(DoubleWordChip, RefusesAUnitThatWasProgrammedEvenWithOnes) {
    for (const std::uint32_t first : {0U, 0xFFFF'FFFFU}) {
        SCOPED_TRACE(first);
        const std::uint32_t address = first == 0 ? 0x100 : 0x200;
        Program(address, 0xFFFF'FFFF, first);
        const std::uint64_t before = chip.Count(Violation::UnitProgrammedTwice);

        EXPECT_EQ(Program(address, 0, 0), Status::OperationFailed);

        EXPECT_EQ(chip.Count(Violation::UnitProgrammedTwice), before + 1);
        EXPECT_EQ(chip.PeekWord(address), 0xFFFF'FFFFU);
        EXPECT_EQ(chip.PeekWord(address + 4), first);
    }
}

TEST_F(DoubleWordChip, TellsABlankUnitFromOneProgrammedWithOnes) {
    EXPECT_TRUE(IsBlank(0x100));

    Program(0x100, 0xFFFF'FFFF, 0xFFFF'FFFF);

    EXPECT_FALSE(IsBlank(0x100));
    EXPECT_FALSE(IsBlank(0x104));
    EXPECT_TRUE(IsBlank(0x108));
    EXPECT_TRUE(IsBlank(0xF8));
    EXPECT_TRUE(IsBlank(0xFFFF'FFF8));
}

TEST_F(DoubleWordChip, AnErasedUnitIsBlankAgain) {
    Program(0x800, 0, 0);

    Finish(kEraseSectorCode, 0x800);

    EXPECT_TRUE(IsBlank(0x800));
    EXPECT_EQ(Program(0x800, 1, 2), Status::Success);
}

TEST_F(DoubleWordChip, ErasesThePageThatHoldsTheAddress) {
    for (const std::uint32_t address : {0x7F8U, 0x800U, 0xFF8U, 0x1000U}) {
        Program(address, 0, 0);
    }

    EXPECT_EQ(Finish(kEraseSectorCode, 0xABC), Status::Success);

    EXPECT_EQ(chip.PeekWord(0x7F8), 0U);
    EXPECT_EQ(chip.PeekWord(0x800), 0xFFFF'FFFFU);
    EXPECT_EQ(chip.PeekWord(0xFF8), 0xFFFF'FFFFU);
    EXPECT_EQ(chip.PeekWord(0x1000), 0U);
    EXPECT_EQ(chip.GetCounters().sectorErases[0], 1U);
}

TEST_F(DoubleWordChip, WhatIsHalfProgrammedOrHalfErasedIsNotBlank) {
    chip.Arm(Fault::OperationFails);
    EXPECT_EQ(Program(0x100, 0, 0), Status::OperationFailed);
    EXPECT_FALSE(IsBlank(0x100));

    chip.Arm(Fault::OperationFails);
    EXPECT_EQ(Finish(kEraseSectorCode, 0x800), Status::OperationFailed);
    EXPECT_FALSE(IsBlank(0xA00));
}

TEST_F(DoubleWordChip, ATornUnitIsTornInBothWords) {
    chip.Arm(Fault::OperationFails);

    Program(0x100, 0, 0);

    for (const std::uint32_t address : {0x100U, 0x104U}) {
        EXPECT_NE(chip.PeekWord(address), 0U);
        EXPECT_NE(chip.PeekWord(address), 0xFFFF'FFFFU);
    }
}

TEST_F(DoubleWordChip, HasNoBankErase) {
    EXPECT_EQ(Finish(kEraseBankCode, 0), Status::IncorrectParameter);

    EXPECT_EQ(chip.Count(Violation::WrongKey), 1U);
}

TEST_F(DoubleWordChip, TellsProtectionWithOnes) {
    EXPECT_EQ(chip.ReadWord(kProtect0Register), 0U);
    chip.PlaceInFlash(chip.FlashBytes() - kProtect0BeforeEnd, std::vector<std::uint8_t>{0xFD});
    chip.Reset();

    EXPECT_EQ(chip.ReadWord(kProtect0Register), 2U);
    EXPECT_EQ(Finish(kEraseSectorCode, 0x1800), Status::OperationFailed);
}

TEST_F(DoubleWordChip, WhatAFactoryPlacesCountsAsProgrammed) {
    chip.PlaceInFlash(0x105, std::vector<std::uint8_t>{0x12});

    EXPECT_FALSE(IsBlank(0x100));
    EXPECT_TRUE(IsBlank(0x108));
}

TEST_F(DoubleWordChip, WhatAFactoryErasesIsBlank) {
    Program(0x100, 0, 0);

    chip.PlaceInFlash(0x100, std::vector<std::uint8_t>(8, 0xFF));

    EXPECT_TRUE(IsBlank(0x100));
}

TEST_F(DoubleWordChip, ComesBackFromItsSavedStateAsItWas) {
    Program(0x100, 0xFFFF'FFFF, 0xFFFF'FFFF);
    Program(0x200, 1, 2);

    VirtualChip copy = VirtualChip::FromSavedState(chip.SaveState());

    EXPECT_EQ(copy.GetSettings(), chip.GetSettings());
    EXPECT_EQ(copy.SaveState(), chip.SaveState());
    copy.WriteWord(kAddressRegister, 0x100);
    EXPECT_EQ(copy.ReadWord(kBlankRegister), 0U);
    EXPECT_EQ(copy.PeekWord(0x200), 1U);
}

TEST_F(DoubleWordChip, ItsSavedStateHasTheDocumentedLayout) {
    Program(0x100, 0xFFFF'FFFF, 0xFFFF'FFFF);
    const std::vector<std::uint8_t> state = chip.SaveState();

    ASSERT_EQ(state.size(), 112U + 24 + 32 * 4096 + 32 * 128 + 4);
    EXPECT_EQ(state[8], 2);
    const std::vector<std::uint8_t> controller = {8, 0, 0, 0, 0, 8, 0, 0, 5, 0, 0, 0, 0, 0, 0, 0};
    EXPECT_TRUE(std::equal(controller.begin(), controller.end(), state.begin() + 112));
    EXPECT_EQ(state[112 + 24 + 32 * 4096 + 0x100 / 32], 0x03);  // two words
}

using UsualChip = ChipRig;

TEST_F(UsualChip, TheUsualControllerHasNoneOfThis) {
    for (const std::uint32_t address : {kMoreDataRegisters, kBlankRegister}) {
        EXPECT_EQ(chip.ReadWord(address), 0U);
    }
    chip.WriteWord(kFeedRegister, 1);

    EXPECT_EQ(chip.Count(Violation::RegisterMisuse), 3U);
}

// ---- The watchdog

class WatchedChip : public ChipRig {
protected:
    WatchedChip() : ChipRig(With({.watchdog = milliseconds(10)})) {}
};

TEST_F(WatchedChip, ResetsACoreThatDoesNotFeedIt) {
    StartCode({kEndlessLoop});
    const Nanoseconds start = chip.Now();

    chip.Pause(milliseconds(20));

    EXPECT_EQ(chip.Count(Violation::WatchdogBite), 1U);
    EXPECT_EQ(chip.State(), CoreState::Halted);
    EXPECT_EQ(EventsOf(EventKind::Reset).at(0).start - start, milliseconds(10));
}

TEST_F(WatchedChip, WaitsAnewFromEachFeeding) {
    StartCode({kEndlessLoop});
    for (int i = 0; i < 3; ++i) {
        chip.Pause(milliseconds(9));
        chip.WriteWord(kFeedRegister, 1);
    }

    chip.Pause(milliseconds(9));

    EXPECT_EQ(chip.Count(Violation::WatchdogBite), 0U);
    EXPECT_EQ(chip.State(), CoreState::Running);
}

TEST_F(WatchedChip, ACoreMayFeedIt) {
    const std::vector<std::uint16_t> feedForEver = {
        0x6003,  // feed: str r3, [r0, #0]
        0xE7FD,  // b feed
    };

    StartCode(feedForEver, {kFeedRegister, 0, 0, 1});
    chip.Pause(milliseconds(30));

    EXPECT_EQ(chip.Count(Violation::WatchdogBite), 0U);
}

TEST_F(WatchedChip, WaitsForNoHaltedCoreAndBeginsAnewWhenItRuns) {
    chip.Pause(milliseconds(30));
    StartCode({kEndlessLoop});
    chip.Pause(milliseconds(6));
    chip.Halt();
    chip.Run();
    chip.Pause(milliseconds(6));

    EXPECT_EQ(chip.Count(Violation::WatchdogBite), 0U);
}

// ---- What makes no chip

TEST(ControllerKinds, OnlyWholeUnitsAndPagesMakeAChip) {
    const struct {
        const char* name;
        ControllerKind kind;
        bool isPossible;
    } cases[] = {
        {"smallest unit", {.unitBytes = 4}, true},
        {"largest unit", {.unitBytes = 32}, true},
        {"no unit", {.unitBytes = 0}, false},
        {"halfword", {.unitBytes = 2}, false},
        {"no power of two", {.unitBytes = 12}, false},
        {"unit too large", {.unitBytes = 64}, false},
        {"page of a unit", {.unitBytes = 32, .pageBytes = 32}, true},
        {"page of a sector", {.pageBytes = 4096}, true},
        {"page below a unit", {.unitBytes = 32, .pageBytes = 16}, false},
        {"page above a sector", {.pageBytes = 8192}, false},
        {"page of no power of two", {.pageBytes = 1536}, false},
        {"time below zero", {.watchdog = Nanoseconds(-1)}, false},
        {"time above an hour", {.watchdog = std::chrono::hours(1) + Nanoseconds(1)}, false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        if (c.isPossible) {
            EXPECT_NO_THROW(VirtualChip{With(c.kind)});
        } else {
            EXPECT_THROW(VirtualChip{With(c.kind)}, ChipError);
        }
    }
}

}  // namespace
}  // namespace flash::chip
