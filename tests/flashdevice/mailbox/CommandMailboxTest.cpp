// Posting commands, waiting for their answers, and saying what an answer means.
#include <gtest/gtest.h>

#include "flashdevice/device/FlashDeviceLumoDor.h"
#include "tests/support/ConnectedChip.h"
#include "tests/support/ThrownText.h"

namespace flash::test {
namespace {

constexpr char kTimedOut[] = "Timed out waiting for target flashloader to execute command.";
constexpr char kUnknownStatus[] = "  Status 0xFFFFFFFF: Target flashloader has not returned any status. Unknown error!";

class Mailbox : public testing::Test {
protected:
    std::string WriteOneChunk() { return chip.Write({0x1000, Pattern(16, 1)}); }

    InitializedChip chip{kLumoD};
    SimulatedHost& host = chip.host;
    SimulatedFlashloader& flashloader = host.flashloader;
};

TEST_F(Mailbox, ACommandIsOneWriteOfTwentyBytesThatSayNotDone) {
    ASSERT_EQ(chip.Write({0, Pattern(9000, 1)}), "");

    ASSERT_EQ(flashloader.commands.size(), 3U);
    for (const PostedCommand& command : flashloader.commands) {
        EXPECT_EQ(command.postedBytes, 20U);
        EXPECT_EQ(command.statusAsPosted, 0xFFFF'FFFFU);
    }
}

TEST_F(Mailbox, ExplainsABlockThatCannotBePosted) {
    constexpr char kFailed[] = "Failed to write configuration block to target.";
    struct Case {
        std::size_t n;  // of the writes: buffer, block, buffer, block
        const char* details;
    };
    const Case cases[] = {
        {2, " Block 0 (addr=0x20000200)\nError: 100%s busy\n"},
        {4, " Block 1 (addr=0x20000218)\nError: 100%s busy\n"},
    };
    for (const Case& each : cases) {
        InitializedChip other(kLumoD);
        other.host.failures.FailNth(Service::WriteMemory, each.n, "100%s busy");
        EXPECT_EQ(other.Write({0, Pattern(5000, 1)}), kFailed);
        EXPECT_EQ(other.host.messages, Texts{std::string(kFailed) + each.details});

        EXPECT_EQ(other.Write({0, Pattern(5000, 1)}), "") << "the index of blocks has not turned";
    }
}

TEST_F(Mailbox, TheTextOfAFailingPrintWinsOverThatOfThePost) {
    host.failures.FailNth(Service::WriteMemory, 2, "busy");
    host.failures.FailNth(Service::PrintMessage, 1, "no console");

    EXPECT_EQ(WriteOneChunk(), "no console");
}

TEST_F(Mailbox, AnyAnswerInTimeButSuccessIsAFailureAndNotDecoded) {
    for (const std::uint32_t status : {1U, 0x103U, 0x0204'0102U, 0x106U, 0xFFFF'FFFEU, 0x0000'FFFFU}) {
        ASSERT_EQ(chip.Notify(0), "");
        flashloader.AnswerAll(AnswerWithStatus(status));
        EXPECT_EQ(WriteOneChunk(), kTimedOut) << status;
        EXPECT_EQ(host.CountOf(Service::WaitMilliseconds), 0U) << status;
        EXPECT_TRUE(host.messages.empty()) << status;
    }
}

TEST_F(Mailbox, PausesFiveMillisecondsBetweenPolls) {
    chip.LoadFlashloader();
    flashloader.AnswerAll(AnswerAfterPolls(2));

    ASSERT_EQ(WriteOneChunk(), "");

    EXPECT_EQ(TextsOf(Only(host.calls, {Service::ReadMemory, Service::WaitMilliseconds})),
              (Texts{"ReadMemory 0x20000228 1*4", "ReadMemory 0x20000210 1*4", "WaitMilliseconds 5",
                     "ReadMemory 0x20000210 1*4", "WaitMilliseconds 5", "ReadMemory 0x20000210 1*4"}));
}

TEST_F(Mailbox, TakesAnAnswerAtTheLastPoll) {
    flashloader.AnswerAll(AnswerAfterPolls(399));

    EXPECT_EQ(WriteOneChunk(), "");

    EXPECT_EQ(host.CountOf(Service::WaitMilliseconds), 399U);
}

TEST_F(Mailbox, GivesUpAfter400PollsAndPauses) {
    chip.LoadFlashloader();
    flashloader.AnswerAll(AnswerAfterPolls(400));  // an answer during the last pause comes too late

    EXPECT_EQ(WriteOneChunk(), kTimedOut);

    Texts expected = {"ReadMemory 0x20000228 1*4"};
    for (int poll = 0; poll < 400; ++poll) {
        expected.insert(expected.end(), {"ReadMemory 0x20000210 1*4", "WaitMilliseconds 5"});
    }
    expected.insert(expected.end(),
                    {"LookUpSymbol g_currBuf", "ReadMemory 0x20000240 1*4", "PrintMessage Target timed out! (Block 0)",
                     std::string("PrintMessage ") + kUnknownStatus, "HaltTarget"});
    EXPECT_EQ(TextsOf(Without(host.calls, {Service::GetProperty, Service::WriteMemory})), expected);
}

TEST_F(Mailbox, NamesTheBlockThatTheTargetIsAt) {
    ASSERT_EQ(WriteOneChunk(), "");
    flashloader.AnswerAll(kAnswerNever);

    EXPECT_EQ(WriteOneChunk(), kTimedOut);

    EXPECT_EQ(host.messages.at(0), "Target timed out! (Block 1)");
}

// A device whose status report tests may call: an answer in time is never decoded, so no operation comes here with one.
class ReportingDevice : public FlashDeviceLumoDor {
public:
    explicit ReportingDevice(IFlashHost* flashHost) : FlashDeviceLumoDor("LumoD1K128", "", "", flashHost) {}
    using FlashDeviceLumoDor::ReportStatus;
};

class StatusReport : public testing::Test {
protected:
    void ProgramOneByte() {
        const std::uint8_t byte = 0;
        device.Initialize();
        device.ProgramData(&byte, 0x1'2345, 1);
        host.ForgetCalls();
    }

    SimulatedHost host;
    ReportingDevice device{&host};
};

TEST_F(StatusReport, DecodesEveryStatus) {
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
        {"arguments", 0x104, {"  Status 0x0104: Invalid arguments passed to target flashloader"}},
        {"command, high bits ignored", 0xABCD'0105, {"  Status 0x0105: Unknown command passed to target flashloader"}},
        {"unknown code", 0x101, {}},
        {"unknown code", 0x107, {}},
        {"unknown code", 0x0000'FFFF, {}},
        {"no code", 0x0100'0000, {}},
    };
    for (const Case& each : cases) {
        host.ForgetCalls();
        device.ReportStatus(each.status);
        EXPECT_EQ(host.messages, each.messages) << each.name;
        EXPECT_EQ(host.CountOf(Service::ReadMemory), 0U) << each.name;
    }
}

TEST_F(StatusReport, ReadsAVerificationIssueFromTheNextBlockAndTellsItInVerboseModeOnly) {
    ProgramOneByte();
    host.memory.SetWord(0x2000'0218, 0x0001'2345);
    host.memory.SetWord(0x2000'0220, 0x13);

    device.ReportStatus(0x106);
    EXPECT_TRUE(host.messages.empty());
    EXPECT_EQ(TextsOf(Only(host.calls, {Service::ReadMemory})),
              (Texts{"ReadMemory 0x20000220 1*4", "ReadMemory 0x20000218 1*4"}));

    host.properties["FlashVerboseMode"] = "1";
    ReportingDevice verbose(&host);
    host.memory.SetWord(0x2000'0000, 0x0001'2345);  // where all blocks are until the flashloader is loaded
    verbose.ReportStatus(0x0099'0106);
    EXPECT_EQ(host.messages, Texts{"  Status 0x0106: Verification issue at address 0x00012345"});
}

TEST_F(StatusReport, OfABlankCheckThatFindsDataIsNoIssue) {
    host.properties["FlashVerboseMode"] = "1";
    host.memory.SetWord(0x2000'0008, 6);

    device.ReportStatus(0x106);

    EXPECT_TRUE(host.messages.empty());
    EXPECT_EQ(TextsOf(Only(host.calls, {Service::ReadMemory})), Texts{"ReadMemory 0x20000008 1*4"});
}

TEST_F(StatusReport, EndsWithTheHostsTextWhateverFails) {
    host.properties["FlashVerboseMode"] = "1";
    struct Case {
        Service service;
        std::size_t n;
        std::uint32_t status;
    };
    const Case cases[] = {
        {Service::PrintMessage, 1, 0xFFFF'FFFF}, {Service::PrintMessage, 1, 0x102}, {Service::PrintMessage, 1, 0x103},
        {Service::PrintMessage, 1, 0x104},       {Service::PrintMessage, 1, 0x105}, {Service::ReadMemory, 1, 0x106},
        {Service::ReadMemory, 2, 0x106},         {Service::PrintMessage, 1, 0x106},
    };
    for (const Case& each : cases) {
        host.failures.FailNth(each.service, each.n, "lost");
        EXPECT_EQ(ThrownText<std::runtime_error>([&] { device.ReportStatus(each.status); }), "lost") << each.status;
    }
}

}  // namespace
}  // namespace flash::test
