// Posting commands and waiting for their answers.
#include <gtest/gtest.h>

#include <stdexcept>

#include "tests/support/OpenTarget.h"

namespace flash::test {
namespace {

constexpr char kUnknownStatus[] = "  Status 0xFFFFFFFF: Target flashloader has not returned any status. Unknown error!";

struct Mailbox : testing::Test {
    Mailbox() { target.LoadFlashloader(); }

    void SetStatus(std::uint32_t block, std::uint32_t status) {
        host.memory.SetWord(target.flashloader.BlockAddress(block) + 16, status);
    }

    OpenLumoD target;
    OpenDor& device = target.device;
    FakeHost& host = target.host;
};

TEST_F(Mailbox, PostsTwentyBytesToTheBlocksInTurn) {
    host.program = nullptr;
    host.memory.Fill(0x2000'0200, 0xEE, 48);

    EXPECT_TRUE(device.PostCommand({0x13, 0x1000, 0x800, 0xCAFE'F00D}));
    EXPECT_TRUE(device.PostCommand({5, 0x2000, 0xFFF, 0}));

    EXPECT_EQ(TextsOf(host.calls), (Texts{"WriteMemory 0x20000200 20*1", "WriteMemory 0x20000218 20*1"}));
    EXPECT_EQ(host.memory.Bytes(0x2000'0200, 24),
              (std::vector<std::uint8_t>{0x00, 0x10, 0,    0,    0x00, 0x08, 0,    0,    0x13, 0,    0,    0,
                                         0x0D, 0xF0, 0xFE, 0xCA, 0xFF, 0xFF, 0xFF, 0xFF, 0xEE, 0xEE, 0xEE, 0xEE}));
    EXPECT_EQ(host.memory.Bytes(0x2000'0218, 24),
              (std::vector<std::uint8_t>{0x00, 0x20, 0, 0, 0xFF, 0x0F, 0,    0,    5,    0,    0,    0,
                                         0,    0,    0, 0, 0xFF, 0xFF, 0xFF, 0xFF, 0xEE, 0xEE, 0xEE, 0xEE}));
    EXPECT_EQ(device.currentBlock, 0U) << "each post turns to the other block";
}

TEST_F(Mailbox, ExplainsABlockThatCannotBePosted) {
    struct Case {
        std::uint32_t block;
        const char* message;
    };
    const Case cases[] = {
        {0, "Failed to write configuration block to target. Block 0 (addr=0x20000200)\nError: 100%s busy\n"},
        {1, "Failed to write configuration block to target. Block 1 (addr=0x20000218)\nError: 100%s busy\n"},
    };
    for (const Case& each : cases) {
        host.ClearRecord();
        device.currentBlock = each.block;
        host.FailNth(Slot::WriteMemory, 1, "100%s busy");
        EXPECT_EQ(ThrownText<std::runtime_error>([&] {
                      device.PostCommand({1, 0, 0, 0});
                  }),
                  "Failed to write configuration block to target.");
        EXPECT_EQ(host.messages, Texts{each.message});
        EXPECT_EQ(device.currentBlock, each.block);
    }
}

TEST_F(Mailbox, TheTextOfAFailingPrintWinsOverThatOfThePost) {
    host.FailNth(Slot::WriteMemory, 1, "busy");
    host.FailNth(Slot::PrintMessage, 1, "no console");

    EXPECT_EQ(ThrownText<std::runtime_error>([&] { device.PostCommand({1, 0, 0, 0}); }), "no console");
}

TEST_F(Mailbox, ReadsAnUnusedBlockAsDone) {
    EXPECT_EQ(device.WaitForCommand(), 0U);
    EXPECT_EQ(TextsOf(host.calls), Texts{"ReadMemory 0x20000210 1*4"});

    device.currentBlock = 1;
    host.ClearRecord();
    EXPECT_EQ(device.WaitForCommand(), 0U);
    EXPECT_EQ(TextsOf(host.calls), Texts{"ReadMemory 0x20000228 1*4"});
}

TEST_F(Mailbox, HandsBackAnyAnswerUndecoded) {
    for (const std::uint32_t status : {0U, 1U, 0x103U, 0x0204'0102U, 0x106U, 0xFFFF'FFFEU, 0x0000'FFFFU}) {
        host.ClearRecord();
        SetStatus(0, status);
        EXPECT_EQ(device.WaitForCommand(), status);
        EXPECT_EQ(host.calls.size(), 1U) << status;
    }
}

TEST_F(Mailbox, PausesFiveMillisecondsBetweenPolls) {
    target.flashloader.AnswerAll(AnswerAfterPolls(3));
    device.PostCommand({1, 0, 0, 0});
    host.ClearRecord();

    EXPECT_EQ(device.WaitForPostedCommand(), 0U);

    EXPECT_EQ(
        TextsOf(host.calls),
        (Texts{"ReadMemory 0x20000210 1*4", "WaitMilliseconds 5", "ReadMemory 0x20000210 1*4", "WaitMilliseconds 5",
               "ReadMemory 0x20000210 1*4", "WaitMilliseconds 5", "ReadMemory 0x20000210 1*4"}));
}

TEST_F(Mailbox, TakesAnAnswerAtTheLastPoll) {
    target.flashloader.AnswerAll(AnswerAfterPolls(399));
    device.PostCommand({1, 0, 0, 0});
    host.ClearRecord();

    EXPECT_EQ(device.WaitForPostedCommand(), 0U);

    EXPECT_EQ(host.CountOf(Slot::ReadMemory), 400U);
    EXPECT_EQ(host.CountOf(Slot::WaitMilliseconds), 399U);
}

TEST_F(Mailbox, GivesUpAfter400PollsAndPauses) {
    SetStatus(0, 0xFFFF'FFFF);
    host.memory.SetWord(0x2000'0240, 1);

    EXPECT_EQ(device.WaitForCommand(), 0xFFFF'FFFFU);

    Texts expected;
    for (int poll = 0; poll < 400; ++poll) {
        expected.insert(expected.end(), {"ReadMemory 0x20000210 1*4", "WaitMilliseconds 5"});
    }
    expected.insert(expected.end(),
                    {"LookUpSymbol g_currBuf", "ReadMemory 0x20000240 1*4", "PrintMessage Target timed out! (Block 1)",
                     std::string("PrintMessage ") + kUnknownStatus});
    EXPECT_EQ(TextsOf(host.calls), expected);
    EXPECT_EQ(device.currentBlock, 0U);
}

TEST_F(Mailbox, AnAnswerDuringTheLastPauseComesTooLate) {
    target.flashloader.AnswerAll(AnswerAfterPolls(400));
    device.PostCommand({1, 0, 0, 0});

    EXPECT_EQ(device.WaitForPostedCommand(), 0xFFFF'FFFFU);
}

TEST_F(Mailbox, AWaitEndsWithTheHostsTextWhateverFails) {
    SetStatus(0, 0xFFFF'FFFF);
    struct Case {
        Slot slot;
        std::size_t n;
    };
    const Case cases[] = {
        {Slot::ReadMemory, 1},   {Slot::ReadMemory, 400}, {Slot::WaitMilliseconds, 1}, {Slot::WaitMilliseconds, 400},
        {Slot::LookUpSymbol, 1}, {Slot::ReadMemory, 401}, {Slot::PrintMessage, 1},     {Slot::PrintMessage, 2},
    };
    for (const Case& each : cases) {
        host.FailNth(each.slot, each.n, kPlannedError);
        EXPECT_EQ(ThrownText<std::runtime_error>([&] { device.WaitForCommand(); }), kPlannedError)
            << SlotName(each.slot) << " " << each.n;
    }
}

TEST_F(Mailbox, DecodesEveryStatus) {
    struct Case {
        const char* name;
        std::uint32_t status;
        Texts messages;
    };
    const Case cases[] = {
        {"success", 0, {}},
        {"no answer", 0xFFFF'FFFF, {kUnknownStatus}},
        {"erase, sector 18",
         0x1204'0102,
         {"  Status 0x0102: Target flashloader failed to erase sector 18. Low level function returned status 4 "
          "(Operation failed)."}},
        {"erase, sector 255, unknown",
         0xFFFF'0102,
         {"  Status 0x0102: Target flashloader failed to erase sector 255. Low level function returned status 255 "
          "(Unknown status code)."}},
        {"program",
         0x0003'0103,
         {"  Status 0x0103: Target flashloader failed to program flash. Low level function returned status 3 "
          "(Incorrect parameter value)."}},
        {"program, no state",
         0x103,
         {"  Status 0x0103: Target flashloader failed to program flash. Low level function returned status 0 "
          "(Success)."}},
        {"program, busy",
         0x0001'0103,
         {"  Status 0x0103: Target flashloader failed to program flash. Low level function returned status 1 (FSM is "
          "Busy)."}},
        {"program, ready",
         0x0002'0103,
         {"  Status 0x0103: Target flashloader failed to program flash. Low level function returned status 2 (FSM is "
          "Ready)."}},
        {"arguments", 0x104, {"  Status 0x0104: Invalid arguments passed to target flashloader"}},
        {"command, high bits ignored", 0xABCD'0105, {"  Status 0x0105: Unknown command passed to target flashloader"}},
        {"unknown code", 0x101, {}},
        {"unknown code", 0x107, {}},
        {"unknown code", 0x0000'FFFF, {}},
        {"no code", 0x0100'0000, {}},
    };
    for (const Case& each : cases) {
        host.ClearRecord();
        device.ReportStatus(each.status);
        EXPECT_EQ(host.messages, each.messages) << each.name;
        EXPECT_EQ(host.CountOf(Slot::ReadMemory), 0U) << each.name;
    }
}

TEST_F(Mailbox, TellsAVerificationIssueInVerboseModeOnly) {
    host.memory.SetWord(0x2000'0218, 0x0001'2345);
    host.memory.SetWord(0x2000'0220, 0x13);
    device.currentBlock = 1;

    device.ReportStatus(0x106);
    EXPECT_TRUE(host.messages.empty());
    EXPECT_EQ(TextsOf(Only(host.calls, {Slot::ReadMemory})),
              (Texts{"ReadMemory 0x20000220 1*4", "ReadMemory 0x20000218 1*4"}));

    target.SetVerbose();
    device.ReportStatus(0x0099'0106);
    EXPECT_EQ(host.messages, Texts{"  Status 0x0106: Verification issue at address 0x00012345"});
}

TEST_F(Mailbox, ABlankCheckThatFindsDataIsNoIssue) {
    host.memory.SetWord(0x2000'0208, 6);
    target.SetVerbose();

    device.ReportStatus(0x106);

    EXPECT_TRUE(host.messages.empty());
    EXPECT_EQ(TextsOf(Only(host.calls, {Slot::ReadMemory})), Texts{"ReadMemory 0x20000208 1*4"});
}

TEST_F(Mailbox, AStatusReportEndsWithTheHostsTextWhateverFails) {
    target.SetVerbose();
    struct Case {
        Slot slot;
        std::size_t n;
        std::uint32_t status;
    };
    const Case cases[] = {
        {Slot::PrintMessage, 1, 0xFFFF'FFFF}, {Slot::PrintMessage, 1, 0x102}, {Slot::PrintMessage, 1, 0x103},
        {Slot::PrintMessage, 1, 0x104},       {Slot::PrintMessage, 1, 0x105}, {Slot::ReadMemory, 1, 0x106},
        {Slot::ReadMemory, 2, 0x106},         {Slot::PrintMessage, 1, 0x106},
    };
    for (const Case& each : cases) {
        host.FailNth(each.slot, each.n, kPlannedError);
        EXPECT_EQ(ThrownText<std::runtime_error>([&] { device.ReportStatus(each.status); }), kPlannedError)
            << each.status;
    }
}

}  // namespace
}  // namespace flash::test
