// The controller's registers, states and times, and the rules that it is strict about.
#include <algorithm>

#include "tests/chip/ChipRig.h"

namespace flash::chip {
namespace {

using std::chrono::microseconds;
using std::chrono::milliseconds;

class FlashControllerTest : public ChipRig {};

TEST_F(FlashControllerTest, TellsTheNumberOfSectors) { EXPECT_EQ(chip.ReadWord(kSizeRegister), 32U); }

TEST_F(FlashControllerTest, IsReadyBeforeAnythingWasDone) { EXPECT_EQ(ReadStatus(), Status::Ready); }

TEST_F(FlashControllerTest, KeepsAddressAndData) {
    chip.WriteWord(kAddressRegister, 0x1234'5678);
    chip.WriteWord(kDataRegister, 0x9ABC'DEF0);

    EXPECT_EQ(chip.ReadWord(kAddressRegister), 0x1234'5678U);
    EXPECT_EQ(chip.ReadWord(kDataRegister), 0x9ABC'DEF0U);
}

TEST_F(FlashControllerTest, ProgramsAWord) {
    EXPECT_EQ(Finish(kProgramWordCode, 0x1004, 0x0123'4567), Status::Success);

    EXPECT_EQ(chip.PeekWord(0x1004), 0x0123'4567U);
    EXPECT_EQ(chip.GetCounters().wordsProgrammed, 1U);
    EXPECT_EQ(chip.ViolationTotal(), 0U);
}

TEST_F(FlashControllerTest, ErasesTheSectorThatHoldsTheAddress) {
    Finish(kProgramWordCode, 0x1FFC, 0);
    Finish(kProgramWordCode, 0x2000, 0);

    EXPECT_EQ(Finish(kEraseSectorCode, 0x1003), Status::Success);

    EXPECT_EQ(chip.PeekWord(0x1FFC), 0xFFFF'FFFFU);
    EXPECT_EQ(chip.PeekWord(0x2000), 0U);
    EXPECT_EQ(chip.GetCounters().sectorErases[1], 1U);
    EXPECT_EQ(chip.GetCounters().sectorErases[2], 0U);
}

TEST_F(FlashControllerTest, ErasesTheWholeBank) {
    Finish(kProgramWordCode, 0, 0);
    Finish(kProgramWordCode, 0x1'FFFC, 0);

    EXPECT_EQ(Finish(kEraseBankCode, 0), Status::Success);

    EXPECT_TRUE(std::ranges::all_of(chip.Flash(), [](std::uint8_t byte) { return byte == 0xFF; }));
    EXPECT_EQ(chip.GetCounters().bankErases, 1U);
    EXPECT_TRUE(std::ranges::all_of(chip.GetCounters().sectorErases, [](std::uint64_t count) { return count == 1; }));
}

TEST_F(FlashControllerTest, TakesTheModelledTimes) {
    const struct {
        const char* name;
        std::uint32_t code;
        EventKind kind;
        Nanoseconds duration;
    } cases[] = {
        {"sector erase", kEraseSectorCode, EventKind::EraseSector, milliseconds(8)},
        {"word program", kProgramWordCode, EventKind::ProgramWord, microseconds(8)},
        {"bank erase", kEraseBankCode, EventKind::EraseBank, milliseconds(20)},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        Finish(c.code, 0);

        const std::vector<Event> events = EventsOf(c.kind);
        ASSERT_EQ(events.size(), 1U);
        EXPECT_EQ(events[0].end - events[0].start, c.duration);
    }
}

TEST_F(FlashControllerTest, ChangesFlashOnlyWhenTheTimeIsOver) {
    Finish(kProgramWordCode, 0, 0);
    Command(kEraseSectorCode, 0);
    const Nanoseconds started = chip.Now();

    chip.Pause(milliseconds(8) - Nanoseconds(1));
    EXPECT_EQ(chip.PeekWord(0), 0U);
    chip.Pause(Nanoseconds(1));

    EXPECT_EQ(chip.PeekWord(0), 0xFFFF'FFFFU);
    EXPECT_EQ(chip.Now() - started, milliseconds(8));
}

TEST_F(FlashControllerTest, IsBusyWhileItWorks) {
    Command(kEraseSectorCode, 0);

    EXPECT_EQ(ReadStatus(), Status::Busy);
}

TEST_F(FlashControllerTest, ACoreThatPollsSeesBusyAndThenSuccess) {
    RunCode(kOperateAndPoll, {kCommandRegister, 0x40, 0x0000'FFFF, kCommandKey | kProgramWordCode});

    EXPECT_EQ(HaltAndRead(CoreRegister::R4), static_cast<std::uint32_t>(Status::Success));
    EXPECT_EQ(chip.PeekWord(0x40), 0x0000'FFFFU);
}

TEST_F(FlashControllerTest, APollOfABusyControllerTakesItsTime) {
    StartCode(kOperateAndPoll, {kCommandRegister, 0, 0, kCommandKey | kEraseSectorCode});
    const std::uint64_t before = chip.GetCounters().instructions;

    chip.Pause(milliseconds(8));

    // 8 ms are 384000 cycles. A poll is three instructions and a stall of 12 cycles.
    EXPECT_NEAR(static_cast<double>(chip.GetCounters().instructions - before), 3 * 384000.0 / 15, 100);
}

// ---- Rules

TEST_F(FlashControllerTest, ProgrammingAOneOverAZeroFailsAndIsCounted) {
    Finish(kProgramWordCode, 0, 0xFFFF'0000);

    EXPECT_EQ(Finish(kProgramWordCode, 0, 0x0F0F'0001), Status::OperationFailed);

    EXPECT_EQ(chip.Count(Violation::ProgramSetsBit), 1U);
    EXPECT_EQ(chip.PeekWord(0), 0x0F0F'0000U);  // what could be cleared was
}

TEST_F(FlashControllerTest, WritingZeroesOverZeroesIsNoBreach) {
    Finish(kProgramWordCode, 0, 0xFFFF'0000);

    EXPECT_EQ(Finish(kProgramWordCode, 0, 0x00FF'0000), Status::Success);

    EXPECT_EQ(chip.ViolationTotal(), 0U);
}

TEST_F(FlashControllerTest, RefusesWithoutTouchingFlash) {
    const struct {
        const char* name;
        std::uint32_t command;
        std::uint32_t address;
        Violation violation;
    } cases[] = {
        {"unaligned by one", kCommandKey | kProgramWordCode, 0x101, Violation::UnalignedOperation},
        {"unaligned by two", kCommandKey | kProgramWordCode, 0x102, Violation::UnalignedOperation},
        {"program behind flash", kCommandKey | kProgramWordCode, 0x2'0000, Violation::OperationOutOfRange},
        {"program in SRAM", kCommandKey | kProgramWordCode, kSramBase, Violation::OperationOutOfRange},
        {"erase behind flash", kCommandKey | kEraseSectorCode, 0x2'0000, Violation::OperationOutOfRange},
        {"erase at the top of memory", kCommandKey | kEraseSectorCode, 0xFFFF'FFFF, Violation::OperationOutOfRange},
        {"no key", kProgramWordCode, 0x100, Violation::WrongKey},
        {"another key", 0xF1A4'0000 | kProgramWordCode, 0x100, Violation::WrongKey},
        {"code 0", kCommandKey, 0x100, Violation::WrongKey},
        {"code 4", kCommandKey | 4, 0x100, Violation::WrongKey},
        {"code with a high bit", kCommandKey | 0x102, 0x100, Violation::WrongKey},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const std::uint64_t before = chip.Count(c.violation);
        chip.WriteWord(kAddressRegister, c.address);
        chip.WriteWord(kDataRegister, 0);

        chip.WriteWord(kCommandRegister, c.command);

        EXPECT_EQ(ReadStatus(), Status::IncorrectParameter);
        EXPECT_EQ(chip.Count(c.violation), before + 1);
        EXPECT_EQ(chip.GetCounters().flashOperations, 0U);
    }
    EXPECT_EQ(chip.ViolationTotal(), std::size(cases));
    EXPECT_TRUE(std::ranges::all_of(chip.Flash(), [](std::uint8_t byte) { return byte == 0xFF; }));
}

TEST_F(FlashControllerTest, ACommandWhileBusyIsRefusedAndTheOperationGoesOn) {
    Finish(kProgramWordCode, 0, 0);
    Command(kEraseSectorCode, 0);

    Command(kProgramWordCode, 0x1000, 0);
    EXPECT_EQ(ReadStatus(), Status::Busy);
    chip.Pause(milliseconds(8));

    EXPECT_EQ(chip.Count(Violation::CommandWhileBusy), 1U);
    EXPECT_EQ(ReadStatus(), Status::Success);
    EXPECT_EQ(chip.PeekWord(0), 0xFFFF'FFFFU);
    EXPECT_EQ(chip.PeekWord(0x1000), 0xFFFF'FFFFU);
}

TEST_F(FlashControllerTest, FlashIsNotToBeReadWhileItChanges) {
    Command(kEraseSectorCode, 0);

    chip.ReadWord(0x1000);
    EXPECT_EQ(chip.Count(Violation::FlashReadWhileBusy), 1U);
    chip.ReadWord(kCcfgWindowBase);
    EXPECT_EQ(chip.Count(Violation::FlashReadWhileBusy), 2U);
    chip.ReadWord(kPrimaryIeeeAddress);  // factory data is another memory
    EXPECT_EQ(chip.Count(Violation::FlashReadWhileBusy), 2U);
    chip.Pause(milliseconds(8));
    chip.ReadWord(0x1000);
    EXPECT_EQ(chip.Count(Violation::FlashReadWhileBusy), 2U);
}

TEST_F(FlashControllerTest, TheCoreIsNotToReadFlashWhileItChangesEither) {
    const std::vector<std::uint16_t> eraseAndRead = {
        0x6041,        // str r1, [r0, #4]
        0x6003,        // str r3, [r0, #0]
        0x680C,        // ldr r4, [r1, #0]
        kEndlessLoop,  // b .
    };

    RunCode(eraseAndRead, {kCommandRegister, 0, 0, kCommandKey | kEraseSectorCode});

    EXPECT_EQ(chip.Count(Violation::FlashReadWhileBusy), 1U);
}

TEST_F(FlashControllerTest, RegistersHaveADirectionAndThereAreNoOthers) {
    const struct {
        const char* name;
        std::uint32_t address;
        bool isWrite;
    } cases[] = {
        {"command cannot be read", kCommandRegister, false}, {"size cannot be written", kSizeRegister, true},
        {"status cannot be written", kStatusRegister, true}, {"protection cannot be written", kProtect0Register, true},
        {"nothing to read", kSizeRegister + 4, false},       {"nothing to write", kSizeRegister + 4, true},
        {"nothing in the system page", 0x4008'2000, false},  {"RAM size cannot be written", kRamSizeRegister, true},
    };
    std::uint64_t expected = 0;
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        if (c.isWrite) {
            chip.WriteWord(c.address, 0xFFFF'FFFF);
        } else {
            EXPECT_EQ(chip.ReadWord(c.address), 0U);
        }
        EXPECT_EQ(chip.Count(Violation::RegisterMisuse), ++expected);
    }
}

// ---- Protection

class ProtectedChip : public ChipRig {
protected:
    static Settings WithProtection(std::uint32_t sectors, std::uint32_t word0, std::uint32_t word1) {
        Settings settings;
        settings.sectorCount = sectors;
        settings.initialFlash.assign(std::size_t{sectors} * 4096, 0xFF);
        PutWord(settings.initialFlash, 0x20, word0);
        PutWord(settings.initialFlash, 0x1C, word1);
        return settings;
    }
    static void PutWord(std::vector<std::uint8_t>& flash, std::size_t beforeEnd, std::uint32_t word) {
        for (std::size_t i = 0; i < 4; ++i) {
            flash[flash.size() - beforeEnd + i] = static_cast<std::uint8_t>(word >> (8 * i));
        }
    }
    // Sectors 0, 31, 33 and, as protection folds, 65 and 97.
    ProtectedChip() : ChipRig(WithProtection(100, 0x7FFF'FFFE, 0xFFFF'FFFD)) {}
};

TEST_F(ProtectedChip, ShowsTheWords) {
    EXPECT_EQ(chip.ReadWord(kProtect0Register), 0x7FFF'FFFEU);
    EXPECT_EQ(chip.ReadWord(kProtect1Register), 0xFFFF'FFFDU);
}

TEST_F(ProtectedChip, RefusesToChangeExactlyTheProtectedSectors) {
    for (std::uint32_t sector = 0; sector < 100; ++sector) {
        SCOPED_TRACE(sector);
        const bool isProtected = sector == 0 || sector == 31 || sector == 33 || sector == 65 || sector == 97;
        const Status expected = isProtected ? Status::OperationFailed : Status::Success;
        EXPECT_EQ(Finish(kProgramWordCode, sector * 4096 + 16, 0), expected);
        EXPECT_EQ(chip.PeekWord(sector * 4096 + 16), isProtected ? 0xFFFF'FFFFU : 0U);
        if (sector != 99) {  // which holds CCFG
            EXPECT_EQ(Finish(kEraseSectorCode, sector * 4096), expected);
        }
    }
    EXPECT_EQ(chip.Count(Violation::OperationOnProtected), 10U);
}

TEST_F(ProtectedChip, ABankErasePassesOverProtectedSectors) {
    const std::vector<std::uint8_t> zeroes(std::size_t{99} * 4096);
    chip.PlaceInFlash(0, zeroes);

    EXPECT_EQ(Finish(kEraseBankCode, 0), Status::Success);

    for (std::uint32_t sector = 0; sector < 99; ++sector) {
        const bool isProtected = sector == 0 || sector == 31 || sector == 33 || sector == 65 || sector == 97;
        EXPECT_EQ(chip.PeekWord(sector * 4096), isProtected ? 0U : 0xFFFF'FFFFU) << sector;
        EXPECT_EQ(chip.GetCounters().sectorErases[sector], isProtected ? 0U : 1U) << sector;
    }
    EXPECT_EQ(chip.ViolationTotal(), 0U);
}

TEST_F(ProtectedChip, ProtectionHoldsUntilItIsSampledAgain) {
    ASSERT_EQ(Finish(kEraseSectorCode, 99 * 4096), Status::Success);  // CCFG with the words
    EXPECT_EQ(Finish(kEraseSectorCode, 0), Status::OperationFailed);

    chip.Reset();

    EXPECT_EQ(Finish(kEraseSectorCode, 0), Status::Success);
}

}  // namespace
}  // namespace flash::chip
