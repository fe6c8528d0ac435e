// The simulated flashloader, over the host: when it carries out what is posted, and how it answers.
#include <gtest/gtest.h>

#include "validator/simulation/SimulatedHost.h"

namespace flash::simulation {
namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr std::uint32_t kCrcFlag = 0x10;

struct Block {
    std::uint32_t address;
    std::uint32_t length;
    std::uint32_t command;
    std::uint32_t crc = 0;
    std::uint32_t status = kStatusNotDone;
};

class StartedFlashloader : public testing::Test {
protected:
    void SetUp() override { Start(); }

    void Start() {
        host.LoadProgram("flashloader.out", "", "");
        host.WriteRegister(527, kEntryPoint);
        host.RunTarget();
    }

    void Fill(std::uint32_t buffer, const Bytes& bytes) {
        EXPECT_EQ(host.WriteMemory(bytes.data(), bytes.size(), kBuffers[buffer], 1, 1), nullptr);
    }

    void Post(std::uint32_t block, const Block& bytes) {
        EXPECT_EQ(host.WriteMemory(&bytes, sizeof bytes, BlockAddress(block), 1, 1), nullptr);
    }

    std::uint32_t Poll(std::uint32_t block) {
        std::uint32_t status = 0;
        EXPECT_EQ(host.ReadMemory(&status, 1, StatusAddress(block), 1, 4), nullptr);
        return status;
    }

    SimulatedHost host;
    SimulatedFlashloader& flashloader = host.flashloader;
    Bytes& flash = host.memory.flash;
};

TEST_F(StartedFlashloader, BothBlocksReadAsDone) {
    EXPECT_EQ(Poll(0), 0U);
    EXPECT_EQ(Poll(1), 0U);
}

TEST_F(StartedFlashloader, ProgramsFromTheBufferWhenItIsPolled) {
    Fill(1, {0x12, 0x34});
    Post(1, {0x1000, 2, 3});
    EXPECT_EQ(flash[0x1000], 0xFF);

    EXPECT_EQ(Poll(1), 0U);

    EXPECT_EQ(flash[0x1000], 0x12);
    EXPECT_EQ(flash[0x1001], 0x34);
    EXPECT_EQ(flashloader.commands.at(0).data, (Bytes{0x12, 0x34}));
}

TEST_F(StartedFlashloader, ABufferThatIsReusedTooEarlySpoilsTheChunk) {
    Fill(0, {0x12});
    Post(0, {0x1000, 1, 3});
    Fill(0, {0x56});

    EXPECT_EQ(Poll(0), 0U);

    EXPECT_EQ(flash[0x1000], 0x56);
}

TEST_F(StartedFlashloader, AnswersAfterTheWantedPolls) {
    flashloader.AnswerNth(1, AnswerAfterPolls(2));
    Post(0, {0, 0, 1});

    EXPECT_EQ(Poll(0), kStatusNotDone);
    EXPECT_EQ(Poll(0), kStatusNotDone);
    EXPECT_EQ(Poll(0), 0U);
}

TEST_F(StartedFlashloader, AnswersByTurnBeforeCodeBeforeTheUsual) {
    flashloader.AnswerAll(AnswerWithStatus(1));
    flashloader.AnswerCommand(3, AnswerWithStatus(2));
    flashloader.AnswerNth(3, AnswerWithStatus(3));
    Post(0, {0, 0, 1});
    EXPECT_EQ(Poll(0), 1U);
    flashloader.ForgetCommands();
    Post(1, {0, 0, 3 | kCrcFlag});
    EXPECT_EQ(Poll(1), 2U);
    Post(0, {0, 0, 3});
    EXPECT_EQ(Poll(0), 3U);
    flashloader.ForgetAnswers();
    Post(1, {0, 0, 1});
    EXPECT_EQ(Poll(1), 0U);

    EXPECT_EQ(flashloader.commands.size(), 3U);
}

TEST_F(StartedFlashloader, AGivenStatusLeavesTheFlashAlone) {
    flashloader.AnswerAll(AnswerWithStatus(0));
    Fill(0, {0x12});
    Post(0, {0x1000, 1, 3});

    EXPECT_EQ(Poll(0), 0U);

    EXPECT_EQ(flash[0x1000], 0xFF);
    EXPECT_EQ(flashloader.commands.at(0).data, Bytes{0x12});
}

TEST_F(StartedFlashloader, NeverAnswersWhenAskedSo) {
    flashloader.AnswerCommand(1, kAnswerNever);
    Post(0, {0, 0, 1});
    host.HaltTarget();

    EXPECT_EQ(Poll(0), kStatusNotDone);
}

TEST_F(StartedFlashloader, FinishesWhatIsPostedBeforeAHalt) {
    flashloader.AnswerAll(AnswerAfterPolls(5));
    Post(0, {0x1000, 0xFFF, 5});
    Post(1, {0x2000, 0xFFF, 5});
    flash[0x1000] = flash[0x2000] = 0;

    host.HaltTarget();

    EXPECT_EQ(flash[0x1000], 0xFF);
    EXPECT_EQ(flash[0x2000], 0xFF);
}

TEST_F(StartedFlashloader, OnlyClearsBitsWithoutAnErase) {
    flash[0x1000] = 0x0F;
    Fill(0, {0xF3});
    Post(0, {0x1000, 1, 2});

    Poll(0);

    EXPECT_EQ(flash[0x1000], 0x03);
}

TEST_F(StartedFlashloader, ErasesASectorOnceBetweenTwoLoads) {
    Post(0, {0x1000, 0xFFF, 5});
    Poll(0);
    flash[0x1000] = 0;
    Post(1, {0x1000, 0xFFF, 5});
    Poll(1);
    EXPECT_EQ(flash[0x1000], 0);

    Start();
    Post(0, {0x1000, 0xFFF, 5});
    Poll(0);
    EXPECT_EQ(flash[0x1000], 0xFF);
}

TEST_F(StartedFlashloader, RefusesWhatLiesBeyondFlash) {
    const std::uint32_t size = host.memory.FlashSize();
    const Block blocks[] = {{0xFFFF'FFF0, 0x20, 3}, {size - 1, 2, 2}, {size - 0x1000, 0x1000, 5}, {0, size + 1, 6}};
    for (const Block& block : blocks) {
        Post(0, block);
        EXPECT_EQ(Poll(0), 0x104U) << block.command;
    }
    Post(0, {size - 0x1000, 0xFFF, 5});
    EXPECT_EQ(Poll(0), 0U);
    Post(0, {0, 0, 7});
    EXPECT_EQ(Poll(0), 0x105U);
}

TEST_F(StartedFlashloader, NamesTheFirstByteThatIsNotBlank) {
    flash.assign(flash.size(), 0xFF);
    Post(0, {0, 0x1000, 6});
    EXPECT_EQ(Poll(0), 0U);

    flash[0x123] = 0;
    Post(1, {0, 0x1000, 6});
    EXPECT_EQ(Poll(1), 0x106U);
    EXPECT_EQ(host.memory.Word(BlockAddress(1)), 0x123U);
}

TEST_F(StartedFlashloader, TakesWhatIsPostedInItsOrder) {
    flash[0x1000] = 0;
    Fill(1, {0x12});
    Post(1, {0x1000, 1, 3});
    Post(0, {0x1000, 0xFFF, 5});

    EXPECT_EQ(Poll(0), 0U);
    EXPECT_EQ(Poll(1), 0U);

    EXPECT_EQ(flash[0x1000], 0x12) << "erased once, before it was programmed";
}

class StrictFlashloader : public StartedFlashloader {
protected:
    void SetUp() override {
        flashloader.isStrict = true;
        Start();
    }
};

TEST_F(StrictFlashloader, TakesTheBlocksInTurn) {
    Post(1, {0, 0xFFF, 5});
    EXPECT_EQ(Poll(1), kStatusNotDone);

    Post(0, {0x1000, 0xFFF, 5});

    EXPECT_EQ(Poll(1), 0U);
    EXPECT_EQ(Poll(0), 0U);
}

TEST_F(StrictFlashloader, RunsOnlyFromItsEntry) {
    host.LoadProgram("flashloader.out", "", "");
    host.RunTarget();
    Post(0, {0, 0, 1});
    EXPECT_EQ(Poll(0), kStatusNotDone);

    host.WriteRegister(527, kEntryPoint);
    EXPECT_EQ(Poll(0), kStatusNotDone);
    host.RunTarget();
    EXPECT_EQ(Poll(0), 0U);

    host.HaltTarget();
    Post(1, {0, 0, 1});
    EXPECT_EQ(Poll(1), kStatusNotDone);
}

TEST_F(StrictFlashloader, VerifiesWhatIsGivenACrc) {
    Fill(0, {'1', '2', '3', '4', '5', '6', '7', '8', '9'});
    Post(0, {0x1000, 9, 3 | kCrcFlag, 0xCBF4'3926});
    EXPECT_EQ(Poll(0), 0U);

    flash[0x2002] = 0;
    Fill(1, {'1', '2', '3', '4', '5', '6', '7', '8', '9'});
    Post(1, {0x2000, 9, 2 | kCrcFlag, 0xCBF4'3926});
    EXPECT_EQ(Poll(1), 0x106U);
    EXPECT_EQ(host.memory.Word(BlockAddress(1)), 0x2002U);
}

TEST_F(StrictFlashloader, RefusesAChunkOfNoByteOrOfMoreThanASector) {
    Post(0, {0x1000, 0, 3});
    EXPECT_EQ(Poll(0), 0x104U);
    Post(1, {0x1000, 0x1001, 3});
    EXPECT_EQ(Poll(1), 0x104U);
    Post(0, {0x1000, 0x1000, 3});
    EXPECT_EQ(Poll(0), 0U);
}

}  // namespace
}  // namespace flash::simulation
