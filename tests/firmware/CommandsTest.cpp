#include "firmware/commands.h"

#include <gtest/gtest.h>

#include "tests/firmware/Flashloader.h"

namespace flash {
namespace {

constexpr std::uint32_t kSector = 4096;
constexpr std::uint32_t kFlash = 4 * kSector;
const Bytes kDigits = {'1', '2', '3', '4', '5', '6', '7', '8', '9'};

constexpr std::uint32_t EraseFailed(std::uint32_t sectorIndex, std::uint32_t fsmStatus) {
    return 0x102 | fsmStatus << 16 | sectorIndex << 24;
}
constexpr std::uint32_t ProgramFailed(std::uint32_t fsmStatus) { return 0x103 | fsmStatus << 16; }

// ---- Refusals: nothing is touched, and the block's address stays.

struct Arguments {
    const char* name;
    std::uint32_t address, length;
};

void ExpectRefused(std::uint32_t command, const Arguments& arguments, std::uint32_t status) {
    SCOPED_TRACE(testing::Message() << arguments.name << ", command 0x" << std::hex << command);
    Flashloader loader;
    loader.SetFlash(0, kDigits);
    const Bytes before = loader.fake.bytes;

    EXPECT_EQ(loader.Run(command, arguments.address, arguments.length), (Answer{status, arguments.address}));

    EXPECT_EQ(loader.fake.operations, 0);
    EXPECT_EQ(loader.fake.bytes, before);
}

TEST(Refusal, ProgramOutsideFlashOrLongerThanABuffer) {
    const Arguments cases[] = {
        {"nothing to program", 0, 0},
        {"starts at the end of flash", kFlash, 1},
        {"one byte past the end", kFlash - kSector + 1, kSector},
        {"last byte and one more", kFlash - 1, 2},
        {"one byte more than a buffer", 0, kSector + 1},
        {"end wraps around to 0", 0xFFFF'FFFF, 1},
        {"end wraps around into flash", 0xFFFF'FF00, 0x200},
        {"length wraps around", 0x100, 0xFFFF'FF10},
        {"starts in SRAM", 0x2000'0000, 16},
    };
    for (const std::uint32_t command : {2u, 3u, 4u, 0x12u, 0x13u, 0x14u}) {
        for (const Arguments& c : cases) {
            ExpectRefused(command, c, 0x104);
        }
    }
}

TEST(Refusal, EraseOutsideFlash) {
    const Arguments cases[] = {
        {"starts at the end of flash", kFlash, 0},
        {"starts beyond flash", kFlash + 1, 0},
        {"last byte at the end of flash", 0, kFlash},
        {"last byte past the end", kFlash - 1, 1},
        {"last byte wraps around into flash", kSector, 0xFFFF'F000},
        {"longest length", 0, 0xFFFF'FFFF},
    };
    for (const Arguments& c : cases) {
        ExpectRefused(5, c, 0x104);
    }
}

TEST(Refusal, BlankCheckOutsideFlash) {
    const Arguments cases[] = {
        {"nothing to check", 0, 0},
        {"one byte too many", 0, kFlash + 1},
        {"starts at the end of flash", kFlash, 1},
        {"length wraps around", 1, 0xFFFF'FFFF},
    };
    for (const Arguments& c : cases) {
        ExpectRefused(6, c, 0x104);
    }
}

TEST(Refusal, BankEraseWithArguments) {
    ExpectRefused(1, {"an address", 1, 0}, 0x104);
    ExpectRefused(1, {"a length", 0, 1}, 0x104);
}

TEST(Refusal, EverythingOnAPortWithoutSectors) {
    for (const std::uint32_t command : {1u, 2u, 3u, 4u, 5u, 6u}) {
        Flashloader loader(kSector, 0);

        EXPECT_EQ(loader.Run(command, 0, command == 1 ? 0 : 1), (Answer{0x104, 0}));

        EXPECT_EQ(loader.fake.operations, 0);
    }
}

TEST(Refusal, UnknownCodeOrFlag) {
    for (const std::uint32_t command :
         {0u, 7u, 8u, 0xFu, 0x10u, 0x11u, 0x15u, 0x16u, 0x17u, 0x22u, 0x32u, 0x102u, 0x8000'0003u, 0xFFFF'FFFFu}) {
        ExpectRefused(command, {"good arguments of command 2", 0, 16}, 0x105);
        ExpectRefused(command, {"good arguments of command 1", 0, 0}, 0x105);
    }
}

// ---- What all program commands do on erased flash.

TEST(AnyProgramCommand, PutsTheChunkAndNothingElseIntoErasedFlash) {
    struct Case {
        const char* name;
        std::uint32_t address;
        std::size_t length;
        int words;
    };
    const Case cases[] = {
        {"one byte at the start of flash", 0, 1, 1},
        {"last byte of a word", 3, 1, 1},
        {"two bytes across a word's edge", 3, 2, 2},
        {"one aligned word", 8, 4, 1},
        {"nine bytes from the middle of a word", 0x1002, 9, 3},
        {"a whole sector", kSector, kSector, 1024},
        {"a whole sector's length across two sectors", kSector - 2, kSector, 1025},
        {"two bytes across a sector's edge", 2 * kSector - 1, 2, 2},
        {"the last sector", kFlash - kSector, kSector, 1024},
        {"the last byte of flash", kFlash - 1, 1, 1},
    };
    for (const std::uint32_t command : {2u, 3u, 4u, 0x12u, 0x13u, 0x14u}) {
        for (const Case& c : cases) {
            SCOPED_TRACE(testing::Message() << c.name << ", command 0x" << std::hex << command);
            Flashloader loader;
            Bytes expected(kFlash, 0xFF);
            std::fill_n(expected.begin() + c.address, c.length, std::uint8_t{0x5A});

            EXPECT_EQ(loader.Program(command, c.address, Bytes(c.length, 0x5A)), (Answer{0, c.address}));

            EXPECT_EQ(loader.fake.bytes, expected);
            EXPECT_EQ(loader.fake.words, c.words);
        }
    }
}

TEST(AnyProgramCommand, IsNoFlashOperationWhenItChangesNothing) {
    for (const std::uint32_t command : {2u, 3u, 4u, 0x12u, 0x13u, 0x14u}) {
        for (const std::uint8_t fill : Bytes{0xFF, 0x00, 0x5A}) {
            SCOPED_TRACE(testing::Message() << "fill " << int{fill} << ", command 0x" << std::hex << command);
            Flashloader loader;
            loader.SetFlash(kSector - 6, Bytes(11, fill));

            EXPECT_EQ(loader.Program(command, kSector - 6, Bytes(11, fill)).status, 0u);

            EXPECT_EQ(loader.fake.operations, 0);
        }
    }
}

// Power may be lost after each operation: what is there then must not lock the chip before all is in place.
TEST(AnyProgramCommand, BringsWhatLocksTheChipLast) {
    struct Case {
        const char* name;
        std::uint32_t sectors;
        std::uint32_t protectionFromEnd;  // of the byte with the last sector's bit
        std::uint8_t protects;            // that byte, with the bit clear and others
        bool closesPort;
        int words;
    };
    const Case cases[] = {
        {"protection", 4, 0x20, 0xF1, false, 22},
        {"protection of sector 24", 25, 0x1D, 0xFE, false, 21},
        {"protection of sector 31", 32, 0x1D, 0x7F, false, 21},
        {"protection of sector 32", 33, 0x1C, 0xFE, false, 21},
        {"protection of sector 65, which shares a bit with 33", 66, 0x1C, 0xFC, false, 22},
        {"debug port", 4, 0x20, 0xFF, true, 21},
        {"both", 4, 0x20, 0xF1, true, 23},
        {"both, protection of sector 32", 33, 0x1C, 0xFE, true, 22},
        {"neither", 4, 0x20, 0xF9, false, 21},
    };
    for (const std::uint32_t command : {2u, 3u, 4u, 0x13u}) {
        for (const Case& c : cases) {
            SCOPED_TRACE(testing::Message() << c.name << ", command " << command);
            Flashloader loader(kSector, c.sectors);
            const std::uint32_t end = c.sectors * kSector;
            const std::uint32_t protection = end - c.protectionFromEnd;
            const auto bit = static_cast<std::uint8_t>(1U << (c.sectors - 1) % 8);
            Bytes ccfg(88, 0x5A);
            std::fill_n(ccfg.end() - 0x20, 8, std::uint8_t{0xFF});
            ccfg[88 - c.protectionFromEnd] = c.protects;
            ccfg[88 - 0x29] = c.closesPort ? 0x00 : 0xC5;
            int locked = 0;
            loader.fake.duringOperation = [&] {
                const bool isProtected = (loader.fake.bytes[protection] & bit) == 0;
                locked += isProtected ? 1 : 0;
                EXPECT_TRUE(!isProtected || c.closesPort) << "the last sector was protected before the end";
                EXPECT_NE(loader.fake.bytes[end - 0x29], 0x00) << "the debug port was closed before the end";
            };

            EXPECT_EQ(loader.Program(command, end - 88, ccfg), (Answer{0, end - 88}));

            EXPECT_EQ(loader.FlashAt(end - 88, 88), ccfg);
            EXPECT_EQ(loader.fake.words, c.words);
            EXPECT_EQ(locked, c.closesPort && (c.protects & bit) == 0 ? 1 : 0) << "the port alone comes behind it";
        }
    }
}

TEST(AnyProgramCommand, LeavesLocksThatAreThereAsTheyAre) {
    for (const std::uint32_t command : {2u, 4u}) {
        Flashloader loader;
        loader.SetFlash(kFlash - 0x20, {0xF7});
        loader.SetFlash(kFlash - 0x29, {0x00});

        EXPECT_EQ(loader.Program(command, kFlash - 0x29, {0x00, 1, 2, 3, 4, 5, 6, 7, 8, 0xF1}).status, 0U);

        EXPECT_EQ(loader.FlashAt(kFlash - 0x29, 10), (Bytes{0x00, 1, 2, 3, 4, 5, 6, 7, 8, 0xF1}));
        EXPECT_EQ(loader.fake.words, 3);
    }
}

TEST(AnyProgramCommand, TakesZeroAloneForAClosedDebugPort) {
    Flashloader loader;

    EXPECT_EQ(loader.Program(2, kFlash - 0x2C, {0x10, 0x20, 0x30, 0x01}).status, 0U);

    EXPECT_EQ(loader.fake.words, 1) << "the byte comes with its word";
    EXPECT_EQ(loader.FlashAt(kFlash - 0x2C, 4), (Bytes{0x10, 0x20, 0x30, 0x01}));
}

TEST(AnyProgramCommand, EndsAtTheLockThatFails) {
    for (int operation = 1; operation <= 4; ++operation) {
        Flashloader loader;
        loader.fake.FailOperation(operation, kFsmIncorrectParameter);

        const Answer answer = loader.Program(2, kFlash - 0x2C, Bytes(0x10, 0x00));

        EXPECT_EQ(answer.status, ProgramFailed(kFsmIncorrectParameter));
        EXPECT_EQ(loader.fake.operations, operation);
    }
}

TEST(AnyProgramCommand, LeavesOutWordsOfAllOnes) {
    for (const std::uint32_t command : {2u, 3u, 4u}) {
        Flashloader loader;
        Bytes chunk(kSector, 0xFF);
        chunk[100] = 0;
        chunk[200] = 0;

        EXPECT_EQ(loader.Program(command, 0, chunk).status, 0u);

        EXPECT_EQ(loader.fake.words, 2);
        EXPECT_EQ(loader.fake.runs, 1);
        EXPECT_EQ(loader.FlashAt(0, kSector), chunk);
    }
}

TEST(AnyProgramCommand, NamesTheStateMachineStatusWhenAWordFails) {
    for (const std::uint32_t command : {2u, 4u}) {
        for (const FsmStatus fsmStatus : Bytes{kFsmBusy, kFsmReady, kFsmIncorrectParameter, kFsmFailed, 0xAB}) {
            Flashloader loader;
            loader.fake.FailOperation(2, fsmStatus);

            EXPECT_EQ(loader.Program(command, 0, Bytes(12, 0)), (Answer{ProgramFailed(fsmStatus), 0}));

            EXPECT_EQ(loader.FlashAt(0, 4), Bytes(4, 0x00));
            EXPECT_EQ(loader.FlashAt(4, 8), Bytes(8, 0xFF)) << "the failed word and those after it";
        }
    }
}

TEST(AnyProgramCommand, GivesTheControllerBlankWordsInOneRun) {
    struct Case {
        const char* name;
        std::uint32_t address;
        std::size_t length;
        int runs;
    };
    const Case cases[] = {
        {"a whole sector", kSector, kSector, 1},
        {"whole words", kSector + 4, 40, 1},
        {"a part of a word before them", kSector + 3, 41, 2},
        {"a part of a word behind them", kSector + 4, 43, 2},
        {"parts before and behind", kSector + 6, 40, 3},
        {"two sectors", kSector - 64, 128, 2},
        {"inside one word", kSector + 1, 2, 1},
    };
    for (const std::uint32_t command : {2u, 3u, 4u}) {
        for (const Case& c : cases) {
            SCOPED_TRACE(testing::Message() << c.name << ", command " << command);
            Flashloader loader;

            EXPECT_EQ(loader.Program(command, c.address, Bytes(c.length, 0x5A)).status, 0u);

            EXPECT_EQ(loader.fake.runs, c.runs);
            EXPECT_EQ(loader.FlashAt(c.address, c.length), Bytes(c.length, 0x5A));
        }
    }
}

TEST(AnyProgramCommand, EndsARunBeforeAProgrammedWordAndGoesOnBehindIt) {
    for (const std::uint32_t programmedAt : {0u, 1u, 4u, 31u, 32u, 33u, 63u, 92u, 127u}) {
        for (const std::uint32_t command : {2u, 4u}) {
            SCOPED_TRACE(testing::Message() << "byte " << programmedAt << ", command " << command);
            Flashloader loader;
            loader.SetFlash(programmedAt, {0x5A});

            EXPECT_EQ(loader.Program(command, 0, Bytes(128, 0x5A)).status, 0u);

            EXPECT_EQ(loader.fake.runs, programmedAt < 4 || programmedAt >= 124 ? 2 : 3);
            EXPECT_EQ(loader.fake.words, 32);
            EXPECT_EQ(loader.FlashAt(0, 128), Bytes(128, 0x5A));
            EXPECT_EQ(loader.FlashAt(128, 1), Bytes{0xFF});
        }
    }
}

TEST(AnyProgramCommand, StartsNoWordBehindOneThatFails) {
    for (const std::uint32_t command : {2u, 3u, 4u}) {
        const int erases = command == 3 ? 1 : 0;
        for (int failing = 1; failing <= 16; ++failing) {
            SCOPED_TRACE(testing::Message() << "word " << failing << ", command " << command);
            Flashloader loader;
            loader.fake.FailOperation(erases + failing, kFsmFailed);

            EXPECT_EQ(loader.Program(command, 0, Bytes(64, 0x5A)), (Answer{ProgramFailed(kFsmFailed), 0}));

            EXPECT_EQ(loader.fake.operations, erases + failing);
            Bytes expected(64, 0xFF);
            std::fill_n(expected.begin(), 4 * (failing - 1), std::uint8_t{0x5A});
            EXPECT_EQ(loader.FlashAt(0, 64), expected);
        }
    }
}

// ---- Command 2: no erase.

TEST(ProgramCommand, ClearsFurtherBitsInPlace) {
    Flashloader loader;
    loader.SetFlash(0, {0xF0, 0xFF, 0x33, 0x11});

    EXPECT_EQ(loader.Program(2, 0, {0x30, 0x0F, 0x33}).status, 0u);

    EXPECT_EQ(loader.FlashAt(0, 4), (Bytes{0x30, 0x0F, 0x33, 0x11}));
    EXPECT_EQ(loader.fake.erases, std::vector<int>(4, 0));
}

TEST(ProgramCommand, FailsWhereABitWouldHaveToBeSet) {
    Flashloader loader;
    loader.SetFlash(4, {0x00});

    EXPECT_EQ(loader.Program(2, 4, {0x01}), (Answer{ProgramFailed(kFsmFailed), 4}));

    EXPECT_EQ(loader.FlashAt(4, 1), Bytes{0x00});
}

TEST(ProgramCommand, LeavesProgrammedFlashAloneUnderWordsOfAllOnes) {
    Flashloader loader;
    loader.SetFlash(0, kDigits);

    EXPECT_EQ(loader.Program(2, 0, Bytes(16, 0xFF)).status, 0u);

    EXPECT_EQ(loader.fake.operations, 0);
    EXPECT_EQ(loader.FlashAt(0, 9), kDigits);
}

TEST(ProgramCommand, FailsOnAProtectedSector) {
    Flashloader loader;
    loader.fake.protectedSectors = {1};

    EXPECT_EQ(loader.Program(2, kSector, kDigits).status, ProgramFailed(kFsmFailed));

    EXPECT_EQ(loader.fake.bytes, Bytes(kFlash, 0xFF));
}

// ---- Command 3: erases what it touches, each sector once per load.

TEST(ProgramEraseCommand, ErasesTheWholeOfEverySectorItTouches) {
    Flashloader loader;
    loader.SetFlash(0, Bytes(kFlash, 0x00));
    Bytes expected(kFlash, 0x00);
    std::fill_n(expected.begin() + kSector, 2 * kSector, std::uint8_t{0xFF});
    std::copy(kDigits.begin(), kDigits.end(), expected.begin() + 2 * kSector - 4);

    EXPECT_EQ(loader.Program(3, 2 * kSector - 4, kDigits).status, 0u);

    EXPECT_EQ(loader.fake.bytes, expected);
    EXPECT_EQ(loader.fake.erases, (std::vector<int>{0, 1, 1, 0}));
}

TEST(ProgramEraseCommand, KeepsWhatUnalignedChunksOfTheSameLoadPutIntoTheSector) {
    Flashloader loader;
    loader.SetFlash(0, Bytes(kFlash, 0x00));
    Bytes image(3 * kSector, 0);
    for (std::size_t i = 0; i < image.size(); ++i) {
        image[i] = static_cast<std::uint8_t>(i * 7);
    }

    for (std::uint32_t offset = 0; offset < image.size(); offset += kSector) {
        const Bytes chunk(image.begin() + offset, image.begin() + offset + kSector);
        EXPECT_EQ(loader.Program(0x13, 10 + offset, chunk).status, 0u);
    }

    EXPECT_EQ(loader.FlashAt(10, image.size()), image);
    EXPECT_EQ(loader.fake.erases, (std::vector<int>{1, 1, 1, 1}));
}

TEST(ProgramEraseCommand, ErasesAgainAfterAnotherLoad) {
    Flashloader loader;
    loader.Program(3, 0, Bytes(4, 0x11));
    loader.Program(3, 4, Bytes(4, 0x22));
    loader.LoadAgain();

    EXPECT_EQ(loader.Program(3, 8, Bytes(4, 0x33)).status, 0u);

    EXPECT_EQ(loader.FlashAt(0, 12), (Bytes{255, 255, 255, 255, 255, 255, 255, 255, 0x33, 0x33, 0x33, 0x33}));
    EXPECT_EQ(loader.fake.erases[0], 2);
}

TEST(ProgramEraseCommand, FailsRatherThanDestroyWhenTheLoadContradictsItself) {
    Flashloader loader;
    loader.Program(3, 0, {0x00, 0x12});

    EXPECT_EQ(loader.Program(3, 0, {0xFE}).status, ProgramFailed(kFsmFailed));

    EXPECT_EQ(loader.FlashAt(0, 2), (Bytes{0x00, 0x12}));
}

TEST(ProgramEraseCommand, CountsASectorThatNeedsNothingAsErased) {
    Flashloader loader;
    loader.SetFlash(0, kDigits);

    loader.Program(3, 0, kDigits);
    EXPECT_EQ(loader.Program(3, 16, kDigits).status, 0u);

    EXPECT_EQ(loader.fake.erases[0], 0);
    EXPECT_EQ(loader.FlashAt(0, 9), kDigits);
    EXPECT_EQ(loader.FlashAt(16, 9), kDigits);
}

TEST(ProgramEraseCommand, ErasesWhenOnlyBytesOutsideTheChunkAreInTheWay) {
    for (const std::uint32_t inTheWay : {0u, kSector - 1}) {
        Flashloader loader;
        loader.SetFlash(16, kDigits);
        loader.SetFlash(inTheWay, {0x00});

        EXPECT_EQ(loader.Program(3, 16, kDigits).status, 0u);

        EXPECT_EQ(loader.fake.erases[0], 1);
        EXPECT_EQ(loader.FlashAt(inTheWay, 1), Bytes{0xFF});
    }
}

TEST(ProgramEraseCommand, NamesTheSectorThatCannotBeErased) {
    for (const FsmStatus fsmStatus : Bytes{kFsmBusy, kFsmReady, kFsmIncorrectParameter, kFsmFailed}) {
        Flashloader loader;
        loader.SetFlash(0, Bytes(kFlash, 0x00));
        loader.fake.FailOperation(1, fsmStatus);

        EXPECT_EQ(loader.Program(3, 2 * kSector, kDigits), (Answer{EraseFailed(2, fsmStatus), 2 * kSector}));

        EXPECT_EQ(loader.FlashAt(2 * kSector, 9), Bytes(9, 0x00)) << "nothing is programmed after a failed erase";
    }
}

TEST(ProgramEraseCommand, MayEraseASectorWhoseEraseFailedBefore) {
    Flashloader loader;
    loader.SetFlash(0, Bytes(kSector, 0x00));
    loader.fake.FailOperation(1, kFsmFailed);
    loader.Program(3, 0, kDigits);

    EXPECT_EQ(loader.Program(3, 0, kDigits).status, 0u);

    EXPECT_EQ(loader.FlashAt(0, 9), kDigits);
}

// ---- Command 4: keeps the rest of the sector.

TEST(ProgramRetainCommand, ProgramsInPlaceWhenNoBitMustBeSet) {
    Flashloader loader;
    loader.SetFlash(0, Bytes(kSector, 0xF0));

    EXPECT_EQ(loader.Program(4, 5, {0x30, 0xC0}).status, 0u);

    EXPECT_EQ(loader.FlashAt(4, 4), (Bytes{0xF0, 0x30, 0xC0, 0xF0}));
    EXPECT_EQ(loader.fake.erases[0], 0);
}

TEST(ProgramRetainCommand, RewritesTheSectorWhenABitMustBeSet) {
    Flashloader loader;
    Bytes expected(kFlash);
    for (std::size_t i = 0; i < expected.size(); ++i) {
        expected[i] = static_cast<std::uint8_t>(i * 5);
    }
    loader.SetFlash(0, expected);
    std::fill_n(expected.begin() + kSector - 3, 7, std::uint8_t{0xFF});

    EXPECT_EQ(loader.Program(0x14, kSector - 3, Bytes(7, 0xFF)).status, 0u);

    EXPECT_EQ(loader.fake.bytes, expected);
    EXPECT_EQ(loader.fake.erases, (std::vector<int>{1, 1, 0, 0}));
}

TEST(ProgramRetainCommand, ErasesAsOftenAsContentDemands) {
    Flashloader loader;
    for (const std::uint8_t value : Bytes{0x01, 0x02, 0x04}) {
        EXPECT_EQ(loader.Program(0x14, 0, {value}).status, 0u);
    }

    EXPECT_EQ(loader.FlashAt(0, 1), Bytes{0x04});
    EXPECT_EQ(loader.fake.erases[0], 2);
}

TEST(ProgramRetainCommand, LeavesTheOtherBufferAlone) {
    Flashloader loader;
    loader.SetFlash(0, Bytes(kSector, 0x00));
    loader.FillBuffer(1, 0xA5);

    loader.Program(4, 0, kDigits);

    EXPECT_EQ(loader.buffers[1], Bytes(kSector, 0xA5)) << "the host may be filling it";
}

TEST(ProgramRetainCommand, SaysWhichStepFailed) {
    Flashloader loader;
    loader.SetFlash(3 * kSector, Bytes(kSector, 0x00));

    loader.fake.FailOperation(1, kFsmFailed);
    EXPECT_EQ(loader.Program(4, 3 * kSector, kDigits).status, EraseFailed(3, kFsmFailed));
    loader.fake.FailOperation(2, kFsmBusy);
    EXPECT_EQ(loader.Program(4, 3 * kSector, kDigits).status, ProgramFailed(kFsmBusy));
}

TEST(ProgramRetainCommand, BelievesNoControllerThatOnlySaysThatTheRestIsBack) {
    const struct {
        const char* name;
        std::uint32_t address;  // of a byte that stays as the erase has left it
        std::uint32_t status;
    } cases[] = {
        {"the sector's first byte", kSector, ProgramFailed(kFsmSuccess)},
        {"the byte in front of the chunk", kSector + 7, ProgramFailed(kFsmSuccess)},
        {"the chunk's first byte, which only flag 0x10 looks at", kSector + 8, 0},
        {"the chunk's last byte", kSector + 11, 0},
        {"the byte behind the chunk", kSector + 12, ProgramFailed(kFsmSuccess)},
        {"the sector's last byte", 2 * kSector - 1, ProgramFailed(kFsmSuccess)},
        {"a byte of the next sector", 2 * kSector, 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        Flashloader loader;
        loader.SetFlash(kSector, Bytes(kSector + 4, 0x00));
        loader.fake.stuckBits[c.address] = 0xFF;

        EXPECT_EQ(loader.Program(4, kSector + 8, Bytes(4, 0x5A)).status, c.status);
    }
}

TEST(ProgramRetainCommand, FailsOnAProtectedSector) {
    Flashloader loader;
    loader.SetFlash(0, Bytes(kSector, 0x00));
    loader.fake.protectedSectors = {0, 1};

    EXPECT_EQ(loader.Program(4, 0, {0x01}).status, EraseFailed(0, kFsmFailed));
    EXPECT_EQ(loader.Program(4, kSector, {0x01}).status, ProgramFailed(kFsmFailed));
}

// ---- Flag 0x10.

TEST(VerifyFlag, CatchesADamagedChunkBeforeFlashIsTouched) {
    for (const std::uint32_t command : {0x12u, 0x13u, 0x14u}) {
        Flashloader loader;
        loader.SetFlash(0, Bytes(kFlash, 0x00));
        loader.FillBuffer(0, 0x42);

        EXPECT_EQ(loader.Run(command, 0x123, 9, 0xCBF43926), (Answer{0x106, 0x123}));

        EXPECT_EQ(loader.fake.operations, 0);
    }
}

TEST(VerifyFlag, WithoutItTheCrcIsNotLookedAt) {
    Flashloader loader;
    loader.FillBuffer(0, 0x42);

    EXPECT_EQ(loader.Run(2, 0, 9, 0xCBF43926).status, 0u);
}

TEST(VerifyFlag, NamesTheFirstByteThatDidNotProgram) {
    for (const std::uint32_t command : {0x12u, 0x13u, 0x14u}) {
        for (const std::uint32_t offset : {0u, 4u, 8u}) {
            Flashloader loader;
            loader.fake.stuckBits[kSector + 6 + offset] = 0xFF;
            loader.fake.stuckBits[kSector + 6 + 8] = 0xFF;

            EXPECT_EQ(loader.Program(command, kSector + 6, kDigits), (Answer{0x106, kSector + 6 + offset}));
        }
    }
}

TEST(VerifyFlag, NamesAProgrammedByteUnderOnes) {
    Flashloader loader;
    loader.SetFlash(10, {0x00});

    EXPECT_EQ(loader.Program(0x12, 8, Bytes(4, 0xFF)), (Answer{0x106, 10}));
}

TEST(VerifyFlag, BlamesTheWholeChunkWhenTheBufferChangedMeanwhile) {
    Flashloader loader;
    loader.fake.duringOperation = [&] { loader.buffers[0][8] = 'X'; };

    EXPECT_EQ(loader.Program(0x12, 0x20, kDigits), (Answer{0x106, 0x20}));
}

TEST(VerifyFlag, DoesNotHideAnEarlierFailure) {
    Flashloader loader;
    loader.fake.FailOperation(1, kFsmFailed);

    EXPECT_EQ(loader.Program(0x12, 0, kDigits).status, ProgramFailed(kFsmFailed));
}

// ---- Command 5.

TEST(EraseSectorsCommand, ErasesEverySectorOfTheRange) {
    struct Case {
        const char* name;
        std::uint32_t address, length;  // length as the host sends it: last address - first address
        std::vector<int> erases;
    };
    const Case cases[] = {
        {"one sector", kSector, kSector - 1, {0, 1, 0, 0}},
        {"two sectors", kSector, 2 * kSector - 1, {0, 1, 1, 0}},
        {"all of flash", 0, kFlash - 1, {1, 1, 1, 1}},
        {"a single byte", 2 * kSector + 5, 0, {0, 0, 1, 0}},
        {"the last byte of flash", kFlash - 1, 0, {0, 0, 0, 1}},
        {"one byte on each side of an edge", kSector - 1, 1, {1, 1, 0, 0}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        Flashloader loader;
        loader.SetFlash(0, Bytes(kFlash, 0x00));

        EXPECT_EQ(loader.Run(5, c.address, c.length), (Answer{0, c.address}));

        EXPECT_EQ(loader.fake.erases, c.erases);
    }
}

TEST(EraseSectorsCommand, KeepsWhatThisLoadHasProgrammedAfterAnErase) {
    for (const std::uint32_t command : {1u, 5u}) {
        Flashloader loader;
        EXPECT_EQ(loader.Run(command, 0, command == 1 ? 0 : kFlash - 1).status, 0u);
        loader.Program(2, kSector, kDigits);

        EXPECT_EQ(loader.Run(5, 0, kFlash - 1).status, 0u);
        loader.Program(3, kSector + 16, kDigits);

        EXPECT_EQ(loader.FlashAt(kSector, 9), kDigits);
        EXPECT_EQ(loader.FlashAt(kSector + 16, 9), kDigits);
        EXPECT_EQ(loader.fake.erases, (std::vector<int>{1, 1, 1, 1}));
    }
}

TEST(EraseSectorsCommand, ErasesWhatCommand4KeptInASector) {
    for (const std::uint32_t erasing : {3u, 5u}) {
        Flashloader loader;
        loader.SetFlash(kSector, Bytes(kSector, 0x00));
        EXPECT_EQ(loader.Program(4, kSector, {0x5A}).status, 0u);

        EXPECT_EQ((erasing == 5 ? loader.Run(5, kSector, kSector - 1) : loader.Program(3, kSector, {0x5A})).status, 0u);

        EXPECT_EQ(loader.FlashAt(kSector + 1, kSector - 1), Bytes(kSector - 1, 0xFF));
        EXPECT_EQ(loader.fake.erases[1], 2);
    }
}

TEST(EraseSectorsCommand, KeepsASectorInWhichCommand4KeptNothing) {
    Flashloader loader;
    loader.SetFlash(0, Bytes(kSector, 0x00));
    loader.Program(4, 0, Bytes(kSector, 0x5A));

    EXPECT_EQ(loader.Run(5, 0, kSector - 1).status, 0u);

    EXPECT_EQ(loader.FlashAt(0, kSector), Bytes(kSector, 0x5A));
}

TEST(EraseSectorsCommand, KeepsAnErasedSectorThatCommand4RewroteLater) {
    Flashloader loader;
    loader.SetFlash(0, Bytes(kSector, 0x00));
    loader.Run(5, 0, kSector - 1);
    loader.Program(2, 0, kDigits);
    EXPECT_EQ(loader.Program(4, 0, {0xFF}).status, 0u);

    EXPECT_EQ(loader.Run(5, 0, kSector - 1).status, 0u);

    EXPECT_EQ(loader.fake.erases[0], 2) << "by the first command and by command 4";
    EXPECT_EQ(loader.FlashAt(0, 3), (Bytes{0xFF, '2', '3'}));
}

TEST(EraseSectorsCommand, StopsAtTheSectorThatFails) {
    Flashloader loader;
    loader.SetFlash(0, Bytes(kFlash, 0x00));
    loader.fake.protectedSectors = {2};

    EXPECT_EQ(loader.Run(5, 0, kFlash - 1), (Answer{EraseFailed(2, kFsmFailed), 0}));

    EXPECT_EQ(loader.fake.erases, (std::vector<int>{1, 1, 0, 0}));
}

TEST(EraseSectorsCommand, RemembersEachOfManySectorsOnItsOwn) {
    Flashloader loader(128, 255);
    for (std::uint32_t i = 0; i < 255; ++i) {
        EXPECT_EQ(loader.Run(5, 128 * i, 0).status, 0u);
        EXPECT_EQ(loader.fake.erases[i], 1);
    }

    EXPECT_EQ(loader.Run(5, 0, 255 * 128 - 1).status, 0u);

    EXPECT_EQ(loader.fake.erases, std::vector<int>(255, 1));
}

TEST(EraseSectorsCommand, NamesTheHighestSectorNumber) {
    Flashloader loader(4096, 255);
    loader.fake.protectedSectors = {254};

    EXPECT_EQ(loader.Run(5, 254 * kSector, kSector - 1).status, 0xFE04'0102u);
}

// ---- Command 1.

TEST(BankEraseCommand, ErasesAllThatIsNotProtected) {
    Flashloader loader;
    loader.SetFlash(0, Bytes(kFlash, 0x00));
    loader.fake.protectedSectors = {1};

    EXPECT_EQ(loader.Run(1, 0, 0), (Answer{0, 0}));

    EXPECT_EQ(loader.fake.erases, (std::vector<int>{1, 0, 1, 1}));
    EXPECT_EQ(loader.fake.operations, 1);
}

TEST(BankEraseCommand, DoesNotCountAProtectedSectorAsErased) {
    Flashloader loader;
    loader.SetFlash(0, Bytes(kFlash, 0x00));
    loader.fake.protectedSectors = {1};
    loader.Run(1, 0, 0);

    EXPECT_EQ(loader.Program(3, kSector, kDigits).status, EraseFailed(1, kFsmFailed));
    EXPECT_EQ(loader.Run(5, kSector, 0).status, EraseFailed(1, kFsmFailed));
}

TEST(BankEraseCommand, ErasesEachTimeItIsAsked) {
    Flashloader loader;
    loader.Run(1, 0, 0);
    loader.Program(2, 0, kDigits);

    EXPECT_EQ(loader.Run(1, 0, 0).status, 0u);

    EXPECT_EQ(loader.fake.bytes, Bytes(kFlash, 0xFF));
}

TEST(BankEraseCommand, NamesTheFirstSectorThatShouldBeBlankAndIsNot) {
    struct Case {
        const char* name;
        std::uint32_t programmedAt;
        std::uint32_t sector;
    };
    const Case cases[] = {
        {"last byte of sector 3", kFlash - 1, 3},
        {"sector 0", 0, 0},
        {"only in a protected sector", kSector, 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        Flashloader loader;
        loader.fake.protectedSectors = {1};
        loader.SetFlash(c.programmedAt, {0x00});
        loader.fake.FailOperation(1, kFsmFailed);

        EXPECT_EQ(loader.Run(1, 0, 0).status, EraseFailed(c.sector, kFsmFailed));
    }
}

TEST(BankEraseCommand, NamesTheFirstSectorWhileTheControllerIsBusy) {
    Flashloader loader;
    loader.SetFlash(kFlash - 1, {0x00});
    loader.fake.FailOperation(1, kFsmBusy);

    EXPECT_EQ(loader.Run(1, 0, 0).status, EraseFailed(0, kFsmBusy));
}

TEST(BankEraseCommand, NamesTheFirstSectorOfAllWhenItOnlySaysErased) {
    Flashloader loader;
    loader.SetFlash(kSector - 1, {0x7F});
    loader.fake.onlySaysErased = true;

    EXPECT_EQ(loader.Run(1, 0, 0).status, EraseFailed(0, kFsmSuccess));
}

TEST(BankEraseCommand, AFailedOneCountsForNoSector) {
    Flashloader loader;
    loader.SetFlash(0, Bytes(kFlash, 0x00));
    loader.fake.FailOperation(1, kFsmBusy);
    loader.Run(1, 0, 0);

    EXPECT_EQ(loader.Run(5, 0, kFlash - 1).status, 0u);

    EXPECT_EQ(loader.fake.erases, (std::vector<int>{1, 1, 1, 1}));
}

// ---- Command 6.

TEST(BlankCheckCommand, SaysBlankOnlyWhenEveryByteIs) {
    struct Case {
        const char* name;
        std::uint32_t programmedAt;
        std::uint32_t address, length;
        Answer expected;
    };
    const Case cases[] = {
        {"first byte of flash", 0, 0, kFlash, {0x106, 0}},
        {"in the middle", 0x1234, 0, kFlash, {0x106, 0x1234}},
        {"last byte of flash", kFlash - 1, 0, kFlash, {0x106, kFlash - 1}},
        {"just below the range", 0xFFF, kSector, kSector, {0, kSector}},
        {"just above the range", 2 * kSector, kSector, kSector, {0, kSector}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        Flashloader loader;
        loader.SetFlash(c.programmedAt, {0xFE});

        EXPECT_EQ(loader.Run(6, c.address, c.length), c.expected);
        EXPECT_EQ(loader.fake.operations, 0);
    }
}

TEST(BlankCheckCommand, NamesTheByteWhereverTheRangeLies) {
    for (const std::uint32_t start : {0u, 1u, 4u, 6u}) {
        for (std::uint32_t length = 1; length <= 100; ++length) {
            for (const std::uint32_t programmedAt : {start, start + length / 2, start + length - 1}) {
                SCOPED_TRACE(testing::Message() << length << " bytes from " << start << ", byte " << programmedAt);
                Flashloader loader;
                loader.SetFlash(programmedAt, {0xEF});

                EXPECT_EQ(loader.Run(6, start, length), (Answer{0x106, programmedAt}));
            }
        }
    }
}

TEST(BlankCheckCommand, DoesNotLookAtTheReferenceValue) {
    Flashloader loader;
    for (const std::uint32_t reference : {0u, 0x208E45D0u, 0xFFFF'FFFFu}) {
        EXPECT_EQ(loader.Run(6, 0, kFlash, reference), (Answer{0, 0}));
    }
}

// ---- A controller that fails at any point of any command.

TEST(AnyCommand, BelievesNoEraseThatLeavesSomethingBehind) {
    const struct {
        const char* name;
        std::uint32_t command, address, length;
    } cases[] = {
        {"bank erase", 1, 0, 0},
        {"program and erase, data that is there already", 3, 2 * kSector, 4},
        {"program and retain", 4, 2 * kSector + 8, 4},
        {"erase of sectors", 5, kSector, kSector},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        Flashloader loader;
        loader.SetFlash(2 * kSector, {0x12, 0x34, 0x56, 0x78});
        loader.SetFlash(3 * kSector - 1, {0x7F});
        loader.SetFlash(2 * kSector + 8, {0x00});
        loader.FillBuffer(0, 0x5A);
        std::copy_n(loader.fake.bytes.begin() + 2 * kSector, 4, loader.buffers[0].begin());
        loader.fake.onlySaysErased = true;

        EXPECT_EQ(loader.Run(c.command, c.address, c.length).status, EraseFailed(2, kFsmSuccess));
    }
}

TEST(AnyCommand, EndsAtTheFirstFailedOperationAndSaysSo) {
    constexpr int kWords = kSector / 4;  // in a sector that is rewritten whole
    const struct {
        std::uint32_t command;
        std::vector<int> failing;  // by its number: every one, or the first and the last of each step
        int operations;            // of the command when none fails
        std::set<int> erases;
    } cases[] = {
        {1, {1}, 1, {1}},
        {0x12, {1, 2}, 2, {}},
        {0x13, {1, 2, 3, 4}, 4, {1, 3}},
        {0x14, {1, 2, kWords + 1, kWords + 2, kWords + 3, 2 * kWords + 2}, 2 * kWords + 2, {1, kWords + 2}},
        {5, {1, 2, 3, 4}, 4, {1, 2, 3, 4}},
    };
    for (const auto& c : cases) {
        std::vector<int> failing = c.failing;
        failing.push_back(c.operations + 1);  // never comes
        for (const int n : failing) {
            SCOPED_TRACE(testing::Message() << "operation " << n << ", command 0x" << std::hex << c.command);
            Flashloader loader;
            loader.SetFlash(0, Bytes(kFlash, c.command == 0x12 ? 0xFF : 0x00));
            loader.fake.FailOperation(n, kFsmFailed);

            const Answer answer = c.command == 1   ? loader.Run(1, 0, 0)
                                  : c.command == 5 ? loader.Run(5, 0, kFlash - 1)
                                                   : loader.Program(c.command, kSector - 4, Bytes(8, 0x5A));

            const bool fails = n <= c.operations;
            EXPECT_EQ(answer.status & 0xFFFF, !fails ? 0u : c.erases.contains(n) ? 0x102u : 0x103u);
            EXPECT_EQ(loader.fake.operations, fails ? n : c.operations) << "nothing comes after a failure";
        }
    }
}

}  // namespace
}  // namespace flash
