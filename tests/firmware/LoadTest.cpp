// What a load begins with, what a port may leave out, and the time that a command may take.
#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>

#include "firmware/deadline.h"
#include "firmware/mailbox.h"
#include "tests/firmware/Flashloader.h"

namespace flash {
namespace {

constexpr std::uint32_t kSector = 4096;
constexpr std::uint32_t kFlash = 4 * kSector;

TEST(Load, BeginsWithThePort) {
    Flashloader loader;

    EXPECT_TRUE(loader.fake.hasBegun);
    EXPECT_EQ(loader.loadFault, 0u);
}

TEST(Load, HoldsNoSectorForFreshAndTouchesNothingBehindTheList) {
    const Flashloader loader;
    struct {
        LoadState state;
        std::uint32_t behind;
    } memory;
    std::fill(std::begin(memory.state.freshSectors), std::end(memory.state.freshSectors), 0xFFFF'FFFF);
    memory.behind = 0x5A5A'5A5A;

    ASSERT_EQ(BeginLoad(&memory.state, &loader.workspace), 0u);

    for (const std::uint32_t word : memory.state.freshSectors) {
        EXPECT_EQ(word, 0u);
    }
    EXPECT_EQ(memory.behind, 0x5A5A'5A5Au);
}

TEST(Load, RefusesAPortThatBreaksItsBounds) {
    const struct {
        const char* name;
        std::function<void(FakeFlash&)> spoil;
        std::uint32_t fault;
    } cases[] = {
        {"no sectors", [](FakeFlash& port) { port.sectorCount = 0; }, 0xFA18'0001},
        {"more sectors than the status word can name", [](FakeFlash& port) { port.sectorCount = 256; }, 0xFA18'0001},
        {"255 sectors", [](FakeFlash& port) { port.sectorCount = 255; }, 0},
        {"units of no size", [](FakeFlash& port) { port.traits.unitBytes = 0; }, 0xFA18'0002},
        {"units of 6 bytes", [](FakeFlash& port) { port.traits.unitBytes = 6; }, 0xFA18'0002},
        {"units of 64 bytes", [](FakeFlash& port) { port.traits.unitBytes = 64; }, 0xFA18'0002},
        {"units of 32 bytes", [](FakeFlash& port) { port.traits.unitBytes = 32; }, 0},
        {"more locks than there is room for", [](FakeFlash& port) { port.traits.lockCount = 5; }, 0xFA18'0002},
        {"four locks", [](FakeFlash& port) { port.traits.lockCount = 4; }, 0},
        {"a clock that stands", [](FakeFlash& port) { port.traits.ticksPerMillisecond = 0; }, 0xFA18'0002},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        Flashloader loader;
        c.spoil(loader.fake);

        loader.LoadAgain();

        EXPECT_EQ(loader.loadFault, c.fault);
    }
}

TEST(Load, RefusesUnitsThatDoNotDivideASector) {
    Flashloader loader(48, 4);
    loader.fake.traits.unitBytes = 32;

    loader.LoadAgain();

    EXPECT_EQ(loader.loadFault, 0xFA18'0002u);
}

TEST(Load, APortWithTooManySectorsIsRefusedEverything) {
    for (const std::uint32_t command : {1u, 2u, 3u, 4u, 5u, 6u}) {
        Flashloader loader;
        loader.fake.sectorCount = 256;

        EXPECT_EQ(loader.Run(command, 0, command == 1 ? 0 : 1), (Answer{0x104, 0}));

        EXPECT_EQ(loader.fake.operations, 0);
    }
}

TEST(Port, WithoutABankEraseRefusesItAndTouchesNothing) {
    Flashloader loader;
    loader.SetFlash(0, Bytes(kFlash, 0x00));
    loader.fake.hasBankErase = false;

    EXPECT_EQ(loader.Run(1, 0, 0), (Answer{0x105, 0}));

    EXPECT_EQ(loader.fake.operations, 0);
    EXPECT_EQ(loader.FlashAt(0, kFlash), Bytes(kFlash, 0x00));
    EXPECT_EQ(loader.Run(5, 0, kFlash - 1).status, 0u);
    EXPECT_EQ(loader.fake.erases, std::vector<int>(4, 1)) << "nothing counts as erased";
}

TEST(Port, WithoutLocksHasOrdinaryDataInTheLastSector) {
    Flashloader loader;
    loader.fake.traits.lockCount = 0;
    loader.fake.traits.locks = nullptr;

    EXPECT_EQ(loader.Program(3, kFlash - kSector, Bytes(kSector, 0x00)).status, 0u);

    EXPECT_EQ(loader.fake.runs, 1);
    EXPECT_EQ(loader.FlashAt(kFlash - kSector, kSector), Bytes(kSector, 0x00));
}

TEST(Port, SeveralLocksInOneByteCloseInTheOrderOfTheTable) {
    Flashloader loader;
    loader.fake.traits.lockCount = 3;
    loader.fake.locks = {FlashLock{kFlash - 1, 0x10}, FlashLock{kFlash - 1, 0x01}, FlashLock{kFlash - 2, 0xFF}};
    std::vector<std::uint8_t> seen;
    loader.fake.duringOperation = [&] { seen.push_back(loader.fake.bytes[kFlash - 1]); };

    EXPECT_EQ(loader.Program(2, kFlash - 4, Bytes(4, 0x00)).status, 0u);

    EXPECT_EQ(seen, (std::vector<std::uint8_t>{0xFF, 0xFF, 0x11, 0x01, 0x00}));
    EXPECT_EQ(loader.FlashAt(kFlash - 4, 4), Bytes(4, 0x00));
}

TEST(Port, NoLockClosesBehindAnOperationThatFailed) {
    for (int n = 1; n <= 5; ++n) {
        Flashloader loader;
        loader.fake.traits.lockCount = 3;
        loader.fake.locks = {FlashLock{kFlash - 1, 0x10}, FlashLock{kFlash - 1, 0x01}, FlashLock{kFlash - 2, 0xFF}};
        loader.fake.FailOperation(n, 4);

        EXPECT_EQ(loader.Program(2, kFlash - 4, Bytes(4, 0x00)).status, 0x0004'0103U) << n;

        EXPECT_EQ(loader.fake.operations, n);
    }
}

TEST(Port, IsCalledAgainAndAgainDuringALongLook) {
    Flashloader loader(kSector, 255);
    loader.fake.idleCalls = 0;

    loader.Run(6, 100, 255 * kSector - 100);

    EXPECT_EQ(loader.fake.idleCalls, 255);
}

// ---- A command's time: 1800 ms, of 1000 ticks each.

TEST(Deadline, EndsACommandThatCannotEndInTheHostsTime) {
    const struct {
        const char* name;
        std::uint32_t command, address, length;
        std::uint32_t ticks;  // per operation
        std::uint32_t status;
        int operations;
    } cases[] = {
        {"fourth erase of 600 ms", 5, 0, kFlash - 1, 600'000, 0x0301'0102, 3},
        {"fourth erase of 599 ms", 5, 0, kFlash - 1, 599'999, 0, 4},
        {"words of 100 ms before a run", 3, kSector + 2, 2, 1'800'000, 0x0001'0103, 1},
        {"rewriting a sector", 4, kSector, 2, 1'800'000, 0x0001'0103, 1},
        {"one erase, however long", 5, kSector, 0, 1'900'000, 0, 1},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        Flashloader loader;
        loader.SetFlash(0, Bytes(kFlash, 0x00));
        loader.FillBuffer(0, 0x5A);
        loader.fake.ticks = 0x00FF'FF00;  // the clock wraps around
        loader.fake.ticksPerOperation = c.ticks;

        EXPECT_EQ(loader.Run(c.command, c.address, c.length).status, c.status);

        EXPECT_EQ(loader.fake.operations, c.operations);
    }
}

TEST(Deadline, IsThatOfOneCommand) {
    Flashloader loader;
    loader.fake.ticksPerOperation = 1'000'000;
    for (std::uint32_t sector = 0; sector < 4; ++sector) {
        EXPECT_EQ(loader.Run(5, sector * kSector, 0).status, 0u);
    }
}

TEST(Deadline, PassesOnceTheTimeIsUpAndStaysPassed) {
    Flashloader loader;
    loader.fake.idleCalls = 0;
    DeadlineStart();
    loader.fake.ticks += 1'799'999;
    EXPECT_FALSE(DeadlineHasPassed());
    loader.fake.ticks += 1;
    EXPECT_TRUE(DeadlineHasPassed());
    EXPECT_TRUE(DeadlineHasPassed());
    EXPECT_EQ(loader.fake.idleCalls, 3) << "a watchdog is fed meanwhile";
}

TEST(Deadline, AddsUpAClockThatWrapsAroundManyTimes) {
    Flashloader loader;
    loader.fake.traits.ticksPerMillisecond = 48'000;
    DeadlineStart();
    for (int looks = 1; looks < 18; ++looks) {
        loader.fake.ticks += 4'800'000;
        EXPECT_FALSE(DeadlineHasPassed());
    }
    loader.fake.ticks += 4'800'000;
    EXPECT_TRUE(DeadlineHasPassed());
}

}  // namespace
}  // namespace flash
