// Checksums that are begun while the controller works: they are those of the whole chunk whatever time there was, and
// no damage stays unnoticed for their sake.
#include "firmware/sums.h"

#include <gtest/gtest.h>

#include "firmware/mailbox.h"
#include "tests/firmware/Flashloader.h"

namespace flash {
namespace {

constexpr std::uint32_t kSector = 4096;

Bytes Counted(std::size_t length, int seed) {
    Bytes bytes(length);
    for (std::size_t i = 0; i < length; ++i) {
        bytes[i] = static_cast<std::uint8_t>(i * 7 + i / 256 + static_cast<std::size_t>(seed));
    }
    return bytes;
}

// Two chunks, the second of which is posted before the first is taken; the port gives time for its sum with each word.
class Sums : public testing::Test {
protected:
    Sums() {
        for (volatile ::CommandBlock& block : g_cfg) {
            block.status = 0;
        }
        g_currBuf = 0;
        g_fault = 0;
        Fill(0, first);
        Fill(1, second);
        loader.fake.duringOperation = [this] {
            ++operations;
            SumWhileBusy(loader.buffers[0].data(), 0, aheadBytes);
        };
    }

    void Fill(std::size_t index, const Bytes& chunk) {
        std::copy(chunk.begin(), chunk.end(), loader.buffers[index].begin());
    }

    static void Post(std::uint32_t index, std::uint32_t command, std::uint32_t address, const Bytes& chunk) {
        g_cfg[index].address = address;
        g_cfg[index].length = static_cast<std::uint32_t>(chunk.size());
        g_cfg[index].command = command;
        g_cfg[index].crc = Crc32(chunk.data(), static_cast<std::uint32_t>(chunk.size()));
        g_cfg[index].status = kStatusNotDone;
    }

    void PostBoth() {
        Post(0, 0x13, 0, first);
        Post(1, 0x13, kSector, second);
    }

    bool Poll() { return MailboxPoll(&loader.state); }

    Flashloader loader;
    Bytes first = Counted(64, 1);
    Bytes second = Counted(100, 2);
    std::uint32_t aheadBytes = 16;
    int operations = 0;
};

TEST_F(Sums, AreRightHoweverMuchTimeThePortGives) {
    for (const std::uint32_t bytes : {0u, 1u, 3u, 4u, 16u, 64u, 4096u}) {
        loader.LoadAgain();
        g_currBuf = 0;
        aheadBytes = bytes;
        Post(0, 0x13, 0, first);
        Post(1, 0x13, kSector, second);

        EXPECT_TRUE(Poll());
        EXPECT_TRUE(Poll());

        EXPECT_EQ(g_cfg[0].status, 0u) << bytes;
        EXPECT_EQ(g_cfg[1].status, 0u) << bytes;
        EXPECT_EQ(loader.FlashAt(kSector, second.size()), second);
    }
}

TEST_F(Sums, TellOfADamagedChunkBeforeItsSectorIsErased) {
    for (std::size_t damaged = 0; damaged < second.size(); ++damaged) {
        loader.LoadAgain();
        g_currBuf = 0;
        loader.SetFlash(kSector, Bytes(kSector, 0x00));
        loader.fake.erases[1] = 0;
        Post(0, 0x13, 0, first);
        Post(1, 0x13, kSector, second);
        loader.buffers[1][damaged] ^= 0x10;

        Poll();
        Poll();

        EXPECT_EQ(g_cfg[1].status, 0x106u) << damaged;
        EXPECT_EQ(loader.fake.erases[1], 0);
        loader.buffers[1][damaged] ^= 0x10;
    }
}

TEST_F(Sums, AreNotBegunForWhatIsNotPostedYet) {
    Fill(1, Bytes(second.size(), 0x00));
    Post(0, 0x13, 0, first);
    Poll();
    EXPECT_GT(operations, 0);

    Fill(1, second);
    Post(1, 0x13, kSector, second);
    Poll();

    EXPECT_EQ(g_cfg[1].status, 0u);
}

TEST_F(Sums, DoNotReadBehindABufferForAChunkThatIsTooLong) {
    PostBoth();
    g_cfg[1].length = kSector + 1;
    aheadBytes = kSector + 1;

    Poll();
    Poll();

    EXPECT_EQ(g_cfg[1].status, 0x104u);
}

// What has been summed up of a chunk is of no use for another one in the same buffer.
TEST_F(Sums, AreBegunAnewForAnotherLength) {
    PostBoth();
    Poll();
    second.resize(50);
    Post(1, 0x13, kSector, second);

    Poll();

    EXPECT_EQ(g_cfg[1].status, 0u);
}

TEST_F(Sums, AreForgottenWithTheLoad) {
    PostBoth();
    Poll();
    loader.LoadAgain();
    g_currBuf = 1;
    const Bytes other = Counted(second.size(), 9);
    Fill(1, other);
    Post(1, 0x13, kSector, other);

    Poll();

    EXPECT_EQ(g_cfg[1].status, 0u);
}

// A byte counts in the sum only once the controller has it, so a buffer that changes before is noticed.
TEST_F(Sums, OfWhatIsProgrammedNoticeAChangeBeforeTheControllerHasTheByte) {
    for (const std::size_t changed : {4u, 31u, 63u}) {
        loader.LoadAgain();
        g_currBuf = 0;
        Fill(0, first);
        loader.fake.duringOperation = [&] {
            SumWhileBusy(loader.buffers[0].data(), 4, 0);
            loader.buffers[0][changed] = static_cast<std::uint8_t>(~first[changed]);
        };
        Post(0, 0x12, 2 * kSector + static_cast<std::uint32_t>(changed) * 64, first);

        Poll();

        EXPECT_EQ(g_cfg[0].status, 0x106u) << changed;
        EXPECT_EQ(g_cfg[0].address, 2 * kSector + changed * 64) << "flash holds what the buffer does";
    }
}

TEST_F(Sums, OfWhatIsProgrammedTakeNothingFromElsewhere) {
    const Bytes elsewhere(256, 0x77);
    loader.fake.duringOperation = [&] { SumWhileBusy(elsewhere.data(), 64, 0); };
    Post(0, 0x13, 0, first);

    Poll();

    EXPECT_EQ(g_cfg[0].status, 0u);
}

// When the controller has its second word, the first one is in flash.
TEST_F(Sums, DoNotBlameFlashForABufferThatChangesBehindTheController) {
    loader.fake.duringOperation = [&] {
        if (++operations == 2) {
            loader.buffers[0][0] = static_cast<std::uint8_t>(~first[0]);
        }
    };
    Post(0, 0x12, 0, first);

    Poll();

    EXPECT_EQ(g_cfg[0].status, 0u);
    EXPECT_EQ(loader.FlashAt(0, first.size()), first);
}

TEST_F(Sums, AreLeftOutForChunksThatNobodyWantsChecked) {
    Post(0, 0x3, 0, first);
    Post(1, 0x3, kSector, second);
    loader.fake.duringOperation = [&] { SumWhileBusy(loader.buffers[0].data(), 64, 4096); };

    Poll();
    Poll();

    EXPECT_EQ(g_cfg[0].status, 0u);
    EXPECT_EQ(g_cfg[1].status, 0u);
    EXPECT_EQ(loader.FlashAt(kSector, second.size()), second);
}

TEST_F(Sums, LookAheadNowhereBeforeTheMailboxHasBeenLookedAt) {
    EXPECT_EQ(loader.Program(0x13, 0, first), (Answer{0, 0}));
    EXPECT_GT(operations, 0);
}

}  // namespace
}  // namespace flash
