// Where the mailbox lies, and what it says as a whole.
#include "host/services/Mailbox.h"

#include <gtest/gtest.h>

#include "tests/host/support/FakeProbe.h"

namespace flash::host {
namespace {

constexpr std::uint32_t kBlocks = 0x2000'1000;
const MailboxPlace kPlace{kBlocks, {0x2000'2000, 0x2000'4000}};

TEST(MailboxPlace, KnowsItsBlocksTheirStatusAndItsBuffers) {
    struct Case {
        std::uint32_t address;
        std::optional<std::uint32_t> block, blockOfStatus;
        bool isBuffer;
    };
    const Case cases[] = {
        {0x2000'1000, 0, {}, false},  {0x2000'1018, 1, {}, false},  {0x2000'1010, {}, 0, false},
        {0x2000'1028, {}, 1, false},  {0x2000'1030, {}, {}, false}, {0x2000'1014, {}, {}, false},
        {0x2000'0FF0, {}, {}, false}, {0, {}, {}, false},           {0x2000'2000, {}, {}, true},
        {0x2000'4000, {}, {}, true},  {0x2000'3000, {}, {}, false},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.address);
        EXPECT_EQ(kPlace.BlockAt(c.address), c.block);
        EXPECT_EQ(kPlace.BlockOfStatusAt(c.address), c.blockOfStatus);
        EXPECT_EQ(kPlace.IsBuffer(c.address), c.isBuffer);
    }
    EXPECT_EQ(kPlace.StatusAddress(1), 0x2000'1028u);
}

class AMailbox : public testing::Test {
protected:
    AMailbox() {
        Store(0, 3, 0);
        Store(1, 3, 0);
    }

    // A command of 0x1000 bytes at 0x2000.
    void Store(std::uint32_t block, std::uint32_t command, std::uint32_t status) {
        const std::uint32_t words[] = {0x2000, 0x1000, command, 0, status};
        for (std::uint32_t i = 0; i < 5; ++i) {
            probe.StoreWord(kBlocks + block * 24 + i * 4, words[i]);
        }
    }

    FakeProbe probe;
};

TEST_F(AMailbox, IsReadInWordsBlockByBlock) {
    Store(1, 0x12, 0x105);

    const CommandBlockView block = ReadBlock(probe, kPlace, 1);

    EXPECT_EQ(block.command, 0x12u);
    EXPECT_EQ(block.status, 0x105u);
    EXPECT_EQ(probe.reads, (std::vector<FakeProbe::Access>{{kBlocks + 24, 20, 4}}));
}

TEST_F(AMailbox, OfSuccessesOnlyIsNoFailure) {
    const MailboxReport report = ReadMailbox(probe, kPlace, std::nullopt);

    EXPECT_FALSE(report.isFailure);
    EXPECT_FALSE(report.isVerification);
    EXPECT_EQ(report.text.Plain(), "The flashloader has answered every command with success");
}

TEST_F(AMailbox, NamesOnlyTheBlocksThatFailed) {
    Store(1, 3, 0x0002'0103);

    const MailboxReport report = ReadMailbox(probe, kPlace, std::nullopt);

    EXPECT_TRUE(report.isFailure);
    EXPECT_FALSE(report.isVerification);
    EXPECT_EQ(report.text.Plain(),
              "Block 1, command 3 (erase and program), 4096 bytes at 0x00002000: programming failed; the flash state "
              "machine's status is 2 (ready). Power the chip off and on and try again");
}

TEST_F(AMailbox, TellsEachFailureInALineOfItsOwn) {
    Store(0, 0x13, 0x106);
    Store(1, 3, 0x105);

    const MailboxReport report = ReadMailbox(probe, kPlace, std::nullopt);

    EXPECT_TRUE(report.isFailure);
    EXPECT_TRUE(report.isVerification);
    EXPECT_EQ(report.text.Plain(),
              "Block 0, command 19 (erase and program with CRC): what flash holds differs from what was sent, first at "
              "0x00002000\nBlock 1, command 3 (erase and program), 4096 bytes at 0x00002000: the flashloader does not "
              "know this command: it does not belong to this plug-in");
}

TEST_F(AMailbox, HasAnAnswerForItsCauseRatherThanASilence) {
    struct Case {
        std::uint32_t first, second;  // statuses
        const char* cause;
        bool isAnswer;
    };
    const Case cases[] = {
        {kStatusNotDone, 0x105, "the flashloader does not know this command", true},
        {0x105, kStatusNotDone, "the flashloader does not know this command", true},
        {0x105, 0x106, "the flashloader does not know this command", true},
        {kStatusNotDone, 0, "the flashloader never answered; the core ", false},
        {0, 0, "", false},
    };
    for (const Case& c : cases) {
        Store(0, 3, c.first);
        Store(1, 3, c.second);

        const MailboxReport report = ReadMailbox(probe, kPlace, std::nullopt);

        EXPECT_TRUE(report.cause.Plain().starts_with(c.cause)) << report.cause.Plain();
        EXPECT_EQ(report.isAnswer, c.isAnswer);
    }
}

constexpr char kSilentBlock[] =
    "Block 0, command 3 (erase and program), 4096 bytes at 0x00002000: the flashloader never answered; ";

TEST_F(AMailbox, WithASilentFlashloaderTellsOfTheCore) {
    Store(0, 3, 0xFFFF'FFFF);
    struct Case {
        bool isRunning;
        std::optional<CoreState> beforeHalt;
        const char* expected;
    };
    const Case cases[] = {
        {true, std::nullopt, "the core is running"},
        {false, std::nullopt, "the core stands at 0x20000100"},
        {false, CoreState{false, std::nullopt, "locked up"},
         "the core stands at 0x20000100; before it was halted the core stands (locked up)"},
        {false, CoreState{true, 0x44, "odd"},
         "the core stands at 0x20000100; before it was halted the core is running at 0x00000044 (odd)"},
    };
    for (const Case& c : cases) {
        probe.isRunning = c.isRunning;

        const MailboxReport report = ReadMailbox(probe, kPlace, c.beforeHalt);

        EXPECT_EQ(report.text.Plain(), std::string(kSilentBlock) + c.expected);
        EXPECT_TRUE(report.isFailure);
        EXPECT_FALSE(report.isVerification);
    }
}

TEST_F(AMailbox, ThatCannotBeReadSaysSo) {
    probe.failingCall = "read";

    const MailboxReport report = ReadMailbox(probe, kPlace, std::nullopt);

    EXPECT_EQ(report.text.Plain(), "The flashloader's mailbox cannot be read: read refused by the fake");
    EXPECT_FALSE(report.isFailure);
}

TEST_F(AMailbox, IsToldAsFarAsItCanBeRead) {
    Store(0, 3, 0x105);
    probe.onCall = [this](const std::string&) { probe.failingCall = probe.reads.size() == 2 ? "read" : ""; };

    EXPECT_EQ(ReadMailbox(probe, kPlace, std::nullopt).text.Plain(),
              "Block 0, command 3 (erase and program), 4096 bytes at 0x00002000: the flashloader does not know this "
              "command: it does not belong to this plug-in\nThe flashloader's mailbox cannot be read: read refused by "
              "the fake");
}

TEST_F(AMailbox, WithASilentFlashloaderAndACoreThatCannotBeReadSaysBoth) {
    Store(0, 3, 0xFFFF'FFFF);
    probe.failingCall = "state";

    EXPECT_EQ(ReadMailbox(probe, kPlace, std::nullopt).text.Plain(),
              std::string(kSilentBlock) + "the core's state cannot be read: state refused by the fake");
}

}  // namespace
}  // namespace flash::host
