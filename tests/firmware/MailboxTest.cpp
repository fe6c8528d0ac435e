#include "firmware/mailbox.h"

#include <gtest/gtest.h>

#include "flashdevice/mailbox/CommandBlock.h"
#include "tests/firmware/Flashloader.h"

namespace flash {
namespace {

// Before any test can write to it: what a host reads that has loaded the image and not yet run it.
const std::uint32_t kStatusAfterLoading[] = {g_cfg[0].status, g_cfg[1].status};

constexpr std::uint32_t kUntouched = 0xA5A5'A5A5;

class Mailbox : public testing::Test {
protected:
    Mailbox() {
        for (volatile ::CommandBlock& block : g_cfg) {
            block.address = 0;
            block.length = 0;
            block.command = 0;
            block.crc = 0;
            block.status = 0;
            block.reserved = kUntouched;
        }
        g_currBuf = 0;
        g_fault = 0;
    }

    // The way of the bytes from the plug-in: one write of 20 bytes, the status last.
    static void Post(std::uint32_t index, std::uint32_t command, std::uint32_t address, std::uint32_t length,
                     std::uint32_t crc = 0) {
        auto* target = reinterpret_cast<volatile std::uint8_t*>(&g_cfg[index]);
        for (const std::uint8_t byte : BuildCommandBlock(command, address, length, crc)) {
            *target++ = byte;
        }
    }

    bool Poll() { return MailboxPoll(&loader.state); }

    Flashloader loader;
};

TEST_F(Mailbox, ReadsAsSuccessWhenFreshlyLoaded) {
    EXPECT_EQ(kStatusAfterLoading[0], 0u);
    EXPECT_EQ(kStatusAfterLoading[1], 0u);
}

TEST_F(Mailbox, DoesNothingUntilABlockIsPosted) {
    EXPECT_FALSE(Poll());

    EXPECT_EQ(loader.fake.operations, 0);
    EXPECT_EQ(g_currBuf, 0u);
}

TEST_F(Mailbox, WaitsForTheStatusWordWhateverElseIsWritten) {
    Post(0, 1, 0, 0);
    for (const std::uint32_t halfWritten : {0u, 0xFFFF'FF00u, 0x00FF'FFFFu, 0x102u}) {
        g_cfg[0].status = halfWritten;
        EXPECT_FALSE(Poll());
    }
    EXPECT_EQ(loader.fake.operations, 0);
}

TEST_F(Mailbox, AnswersAndMovesOnToTheOtherBlock) {
    Post(0, 5, 4096, 4095);

    EXPECT_TRUE(Poll());

    EXPECT_EQ(g_cfg[0].status, 0u);
    EXPECT_EQ(g_currBuf, 1u);
    EXPECT_EQ(loader.fake.erases[1], 1);
    EXPECT_FALSE(Poll()) << "the answered block is not run again";
}

TEST_F(Mailbox, TakesTheBlocksStrictlyInTurn) {
    Post(1, 5, 0, 0);
    EXPECT_FALSE(Poll()) << "block 0 comes first";
    EXPECT_EQ(g_cfg[1].status, kStatusNotDone);

    Post(0, 5, 4096, 0);
    EXPECT_TRUE(Poll());
    EXPECT_EQ(g_cfg[0].status, 0u);
    EXPECT_EQ(g_cfg[1].status, kStatusNotDone);

    Post(0, 5, 8192, 0);
    EXPECT_TRUE(Poll());
    EXPECT_EQ(g_cfg[1].status, 0u);
    EXPECT_EQ(g_cfg[0].status, kStatusNotDone);
    EXPECT_TRUE(Poll());
    EXPECT_EQ(loader.fake.erases, (std::vector<int>{1, 1, 1, 0}));
}

TEST_F(Mailbox, EachBlockGoesWithItsOwnBuffer) {
    loader.FillBuffer(0, 0x11);
    loader.FillBuffer(1, 0x22);
    for (std::uint32_t i = 0; i < 4; ++i) {
        Post(i % 2, 3, 4096 * i, 4);
        EXPECT_TRUE(Poll());
    }

    EXPECT_EQ(loader.FlashAt(0, 4), Bytes(4, 0x11));
    EXPECT_EQ(loader.FlashAt(4096, 4), Bytes(4, 0x22));
    EXPECT_EQ(loader.FlashAt(8192, 4), Bytes(4, 0x11));
    EXPECT_EQ(loader.FlashAt(12288, 4), Bytes(4, 0x22));
}

TEST_F(Mailbox, NamesTheBlockInWorkAndAnswersLast) {
    Post(0, 5, 0, 0);
    Poll();
    Post(1, 5, 4096, 0);
    int looks = 0;
    loader.fake.duringOperation = [&] {
        ++looks;
        EXPECT_EQ(g_currBuf, 1u);
        EXPECT_EQ(g_cfg[1].status, kStatusNotDone);
    };

    EXPECT_TRUE(Poll());

    EXPECT_EQ(looks, 1);
    EXPECT_EQ(g_currBuf, 0u);
}

TEST_F(Mailbox, LeavesTheAddressAtFaultInTheBlock) {
    loader.SetFlash(0x1234, {0x7F});
    Post(0, 6, 0, 4 * 4096, 0x208E45D0);

    EXPECT_TRUE(Poll());

    EXPECT_EQ(g_cfg[0].status, 0x106u);
    EXPECT_EQ(g_cfg[0].address, 0x1234u);
    EXPECT_EQ(g_cfg[0].command, 6u) << "the host reads it to tell a blank check from a failed verification";
}

TEST_F(Mailbox, ChangesNothingElseOfABlock) {
    Post(0, 0x77, 0x1111, 0x2222, 0x3333);

    EXPECT_TRUE(Poll());

    EXPECT_EQ(g_cfg[0].address, 0x1111u);
    EXPECT_EQ(g_cfg[0].length, 0x2222u);
    EXPECT_EQ(g_cfg[0].command, 0x77u);
    EXPECT_EQ(g_cfg[0].crc, 0x3333u);
    EXPECT_EQ(g_cfg[0].status, 0x105u);
    EXPECT_EQ(g_cfg[0].reserved, kUntouched);
    EXPECT_EQ(g_cfg[1].reserved, kUntouched);
}

TEST_F(Mailbox, AnswersNothingAfterAFault) {
    g_fault = 0xFA18'0001;
    Post(0, 5, 0, 0);

    EXPECT_FALSE(Poll());

    EXPECT_EQ(g_cfg[0].status, kStatusNotDone);
    EXPECT_EQ(g_currBuf, 0u);
    EXPECT_EQ(loader.fake.operations, 0);
}

TEST_F(Mailbox, AnswersNothingOnceTheStackHasReachedAnyWordOfItsGuard) {
    for (std::size_t word = 0; word < loader.stackGuard.size(); ++word) {
        g_fault = 0;
        loader.LoadAgain();
        Post(0, 5, 0, 0);
        loader.fake.duringOperation = [&] { loader.stackGuard[word] = 0; };

        EXPECT_FALSE(Poll());

        EXPECT_EQ(g_fault, 0xFA18'0004u);
        EXPECT_EQ(g_cfg[0].status, kStatusNotDone);
        EXPECT_FALSE(Poll());
    }
}

TEST_F(Mailbox, LetsThePortFeedItsWatchdogWhileItIsIdle) {
    loader.fake.idleCalls = 0;
    Poll();
    Poll();
    EXPECT_EQ(loader.fake.idleCalls, 2);
}

TEST_F(Mailbox, GoesOnAfterAFailure) {
    loader.fake.FailOperation(1, kFsmFailed);
    Post(0, 5, 2 * 4096, 0);
    EXPECT_TRUE(Poll());
    Post(1, 5, 2 * 4096, 0);
    EXPECT_TRUE(Poll());

    EXPECT_EQ(g_cfg[0].status, 0x0204'0102u);
    EXPECT_EQ(g_cfg[1].status, 0u);
}

}  // namespace
}  // namespace flash
