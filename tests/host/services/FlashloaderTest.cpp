// A flashloader on a fake target: how it gets there, what is seen of its mailbox, and how it is brought to an end.
#include "host/services/Flashloader.h"

#include <gtest/gtest.h>

#include "host/Failure.h"
#include "tests/host/files/TemporaryFolder.h"
#include "tests/host/files/TestElf.h"
#include "tests/host/support/FakeProbe.h"
#include "tests/host/support/FieldTexts.h"
#include "tests/host/support/RecordingObserver.h"
#include "tests/host/support/Throws.h"

namespace flash::host {
namespace {

using std::chrono::milliseconds;
using Kind = MailboxEvent::Kind;
using Lines = std::vector<std::string>;

constexpr std::uint32_t kImage = 0x2000'0000;
constexpr std::uint32_t kBlocks = 0x2000'2000;
constexpr std::uint32_t kBuffers[] = {0x2000'3000, 0x2000'4000};
constexpr std::uint32_t kNotDone = 0xFFFF'FFFF;

class AFlashloader : public testing::Test {
protected:
    // An image of so many bytes. Without its last symbol it has no mailbox.
    std::filesystem::path WriteImage(std::size_t bytes = 8, std::size_t symbolCount = 3) const {
        TestElf elf;
        elf.data.assign(bytes, 0x5A);
        elf.segments = {MakeSegment(kTestDataOffset, kImage, static_cast<std::uint32_t>(bytes))};
        elf.sections = {
            MakeSection(".text", SHT_PROGBITS, SHF_ALLOC, kTestDataOffset, static_cast<std::uint32_t>(bytes))};
        const TestSymbol symbols[] = {{"g_cfg", kBlocks, STB_GLOBAL, STT_OBJECT, 1},
                                      {"g_buf1", kBuffers[0], STB_GLOBAL, STT_OBJECT, 1},
                                      {"g_buf2", kBuffers[1], STB_GLOBAL, STT_OBJECT, 1}};
        elf.symbols.assign(symbols, symbols + symbolCount);
        const std::vector<std::uint8_t> content = elf.Bytes();
        return folder.Write("a.elf", {reinterpret_cast<const char*>(content.data()), content.size()});
    }

    void Start() {
        flashloader.Load(WriteImage(), record.progress);
        flashloader.Run();
        probe.calls.clear();
        probe.reads.clear();
        observer.stages.clear();
    }

    std::optional<MailboxEvent> Post(std::uint32_t block, std::uint32_t command, std::uint32_t length = 0x1000) {
        const std::uint32_t words[] = {0x2000, length, command, 0, kNotDone};
        std::vector<std::uint8_t> bytes;
        for (const std::uint32_t word : words) {
            for (unsigned shift = 0; shift < 32; shift += 8) {
                bytes.push_back(static_cast<std::uint8_t>(word >> shift));
            }
        }
        probe.Store(kBlocks + block * 24, bytes);
        return flashloader.OnWrite(kBlocks + block * 24, bytes);
    }

    void Answer(std::uint32_t block, std::uint32_t status) { probe.StoreWord(kBlocks + block * 24 + 16, status); }

    std::optional<MailboxEvent> Poll(std::uint32_t block) {
        std::array<std::uint8_t, 4> bytes{};
        probe.ReadMemory(kBlocks + block * 24 + 16, bytes, 4);
        return flashloader.OnRead(kBlocks + block * 24 + 16, bytes);
    }

    std::chrono::nanoseconds TimeOf(const std::function<void()>& work) {
        const auto start = probe.now;
        work();
        return probe.now - start;
    }

    const TemporaryFolder folder;
    FakeProbe probe;
    RecordingObserver observer;
    OperationRecord record{observer, probe};
    Flashloader flashloader{probe};
};

TEST_F(AFlashloader, IsWrittenInPiecesWithItsProgress) {
    flashloader.Load(WriteImage(10'000), record.progress);

    EXPECT_EQ(probe.writes,
              (std::vector<FakeProbe::Access>{{kImage, 4096, 1}, {kImage + 4096, 4096, 1}, {kImage + 8192, 1808, 1}}));
    EXPECT_EQ(probe.ByteAt(kImage + 9'999), 0x5A);
    EXPECT_EQ(observer.stages,
              (Lines{"start load 10000", "at load 4096", "at load 8192", "at load 10000", "end load 10000"}));
}

TEST_F(AFlashloader, HasTheSymbolsOfItsImage) {
    EXPECT_EQ(flashloader.FindSymbol("g_buf1"), std::nullopt);

    flashloader.Load(WriteImage(), record.progress);

    EXPECT_EQ(flashloader.FindSymbol("g_buf1"), kBuffers[0]);
    EXPECT_EQ(flashloader.FindSymbol("g_buf3"), std::nullopt);
}

TEST_F(AFlashloader, ShowsATimelineWhereItsCommandsAre) {
    flashloader.Load(WriteImage(), record.progress);
    probe.hasTimeline = true;
    flashloader.Load(WriteImage(8, 2), record.progress);
    EXPECT_TRUE(probe.watchedBlocks.empty());

    flashloader.Load(WriteImage(), record.progress);

    EXPECT_EQ(probe.watchedBlocks, std::vector<std::uint32_t>{kBlocks});
}

TEST_F(AFlashloader, RunsWhenItHasAMailbox) {
    struct Case {
        std::size_t symbolCount;
        bool expected;
    };
    for (const Case& c : {Case{3, true}, {2, false}, {1, false}, {0, false}}) {
        SCOPED_TRACE(c.symbolCount);
        flashloader.Load(WriteImage(8, c.symbolCount), record.progress);
        flashloader.Run();

        EXPECT_EQ(flashloader.IsRunning(), c.expected);
        EXPECT_EQ(flashloader.IsBuffer(kBuffers[1]), c.expected);
        EXPECT_EQ(flashloader.Explain().has_value(), c.expected);
        EXPECT_EQ(Post(0, 3).has_value(), c.expected);
        Answer(0, 0);
        EXPECT_EQ(Poll(0).has_value(), c.expected);
    }
}

TEST_F(AFlashloader, ThatCannotBeStartedDoesNotRun) {
    flashloader.Load(WriteImage(), record.progress);
    probe.failingCall = "run";

    EXPECT_THROW(flashloader.Run(), ProbeError);

    EXPECT_FALSE(flashloader.IsRunning());
}

TEST_F(AFlashloader, IsKeptWhenTheNextFileIsNone) {
    Start();

    EXPECT_THROW(flashloader.Load(folder.Write("b.elf", "no image"), record.progress), Failure);

    EXPECT_EQ(flashloader.FindSymbol("g_cfg"), kBlocks);
    EXPECT_TRUE(flashloader.IsBuffer(kBuffers[0]));
}

TEST_F(AFlashloader, WatchesPostsAndStatusesAndNothingElse) {
    Start();
    const std::vector<std::uint8_t> zeros(24);
    const auto written = [&](std::uint32_t address, std::size_t bytes) {
        return flashloader.OnWrite(address, std::span(zeros).first(bytes));
    };
    const auto read = [&](std::uint32_t address, std::size_t bytes) {
        return flashloader.OnRead(address, std::span(zeros).first(bytes));
    };

    EXPECT_EQ(Post(1, 0x13), (MailboxEvent{Kind::ProgramStarted, 0x1000}));
    for (const auto& nothing : {written(kBlocks + 24, 19), written(kBlocks + 24, 24), written(kBlocks + 20, 20),
                                read(kBlocks + 40, 3), read(kBlocks + 24, 4), read(kBlocks + 16, 4)}) {
        EXPECT_EQ(nothing, std::nullopt);
    }
    EXPECT_EQ(read(kBlocks + 40, 4), (MailboxEvent{Kind::Programmed, 0x1000, true}));
}

TEST_F(AFlashloader, APauseEndsAsSoonAsThePolledStatusChanges) {
    Start();
    Post(0, 3);
    Poll(0);
    probe.onPause = [this] { Answer(0, 0); };

    EXPECT_LT(TimeOf([&] { flashloader.Pause(milliseconds(5)); }), milliseconds(1));
}

TEST_F(AFlashloader, APauseLastsItsTimeWhenNothingIsPolledOrNothingChangesOrNothingRuns) {
    Start();
    const auto pause = [this] { flashloader.Pause(milliseconds(5)); };
    EXPECT_EQ(TimeOf(pause), milliseconds(5));
    EXPECT_EQ(probe.calls, Lines{"pause"});

    Post(0, 3);
    Poll(0);
    EXPECT_EQ(TimeOf(pause), milliseconds(5));

    Answer(0, 0);
    flashloader.Settle(record);
    EXPECT_EQ(TimeOf(pause), milliseconds(5));
}

TEST_F(AFlashloader, IsGivenTimeToFinishWhatIsPosted) {
    Start();
    record.Begin(Stage::Program, 0x1058);
    record.Take(Post(0, 3));
    record.Take(Post(1, 4, 0x58));
    int pauses = 0;
    probe.onPause = [&] {
        Answer(0, 0);
        if (++pauses == 20) {
            Answer(1, 0);
        }
    };

    flashloader.Settle(record);

    EXPECT_EQ(pauses, 20);
    EXPECT_EQ(probe.calls.back(), "halt");
    EXPECT_EQ(Plain(record.Complaints()), Lines{});
    EXPECT_EQ(record.ProgrammedBytes(), 0x1058u);
    EXPECT_FALSE(flashloader.IsRunning());
}

TEST_F(AFlashloader, ThatNeverFinishesIsStoppedAndComplainedAbout) {
    Start();
    Post(1, 4, 88);

    EXPECT_EQ(TimeOf([&] { flashloader.Settle(record); }), milliseconds(2000));

    EXPECT_EQ(Plain(record.Complaints()),
              Lines{"Posted and not waited for by the plug-in: command 4 (program keeping the rest of the sectors), 88 "
                    "bytes at 0x00002000: the flashloader never answered"});
    EXPECT_FALSE(probe.isRunning);
}

TEST_F(AFlashloader, IsNotWaitedForAgainAfterThePluginHas) {
    struct Case {
        int waits;
        milliseconds left;
    };
    for (const Case& c : {Case{399, milliseconds(5)}, {400, milliseconds(0)}, {401, milliseconds(0)}}) {
        SCOPED_TRACE(c.waits);
        Start();
        Post(0, 3);
        for (int i = 0; i < c.waits; ++i) {
            Poll(0);
            flashloader.Pause(milliseconds(5));
        }

        EXPECT_EQ(TimeOf([&] { flashloader.Settle(record); }), c.left);
    }
}

TEST_F(AFlashloader, WhatFailsUnawaitedIsAComplaintButForABlankCheck) {
    struct Case {
        std::uint32_t command, status;
        Lines expected;
    };
    const Case cases[] = {
        {5,
         0x02040102,
         {"Posted and not waited for by the plug-in: command 5 (erase sectors), 4097 bytes at 0x00002000: erasing "
          "sector "
          "2 failed; the flash state machine's status is 4 (operation failed). The sector may be write-protected, "
          "which CCFG tells, or worn out"}},
        {6, 0x106, {}},
        {5, 0, {}},
    };
    for (const Case& c : cases) {
        Start();
        record.Begin(Stage::Close, 0);
        Post(0, c.command);
        Answer(0, c.status);

        flashloader.Settle(record);

        EXPECT_EQ(Plain(record.Complaints()), c.expected);
        EXPECT_FALSE(record.SawVerificationFailure());
    }
}

TEST_F(AFlashloader, IsStoppedEvenWhenItsMailboxOrItsCoreCannotBeRead) {
    struct Case {
        const char* failingCall;
        const char* expected;
    };
    for (const Case& c : {Case{"read", "read refused by the fake"}, {"state", "state refused by the fake"}}) {
        Start();
        record.Begin(Stage::Close, 0);
        Post(0, 3);
        Answer(0, 0);
        probe.failingCall = c.failingCall;

        flashloader.Settle(record);

        probe.failingCall.clear();
        EXPECT_FALSE(probe.isRunning);
        EXPECT_FALSE(flashloader.IsRunning());
        EXPECT_EQ(Plain(record.Complaints()),
                  Lines{std::string("Cannot tell whether the flashloader has finished: ") + c.expected});
    }
}

TEST_F(AFlashloader, ThatStandsIsHaltedWithoutALook) {
    flashloader.Load(WriteImage(), record.progress);
    Post(0, 3);
    probe.calls.clear();

    flashloader.Settle(record);

    EXPECT_EQ(probe.calls, Lines{"halt"});
    flashloader.Run();
    EXPECT_EQ(TimeOf([&] { flashloader.Settle(record); }), milliseconds(0)) << "what was posted is forgotten";
}

TEST_F(AFlashloader, IsExplainedWithTheCoreAsItWasBeforeTheHalt) {
    Start();
    Post(0, 3);
    Answer(1, 0);
    probe.programCounter = 0x2000'0044;

    flashloader.Settle(record);

    EXPECT_EQ(flashloader.Explain()->text.Plain(),
              "Block 0, command 3 (erase and program), 4096 bytes at 0x00002000: the flashloader never answered; the "
              "core stands at 0x20000044; before it was halted the core is running");
    flashloader.Load(WriteImage(), record.progress);
    EXPECT_EQ(flashloader.Explain()->text.Plain(),
              "Block 0, command 3 (erase and program), 4096 bytes at 0x00002000: the flashloader never answered; the "
              "core stands at 0x20000044");
}

}  // namespace
}  // namespace flash::host
