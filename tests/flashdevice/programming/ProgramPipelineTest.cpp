// A host's data on its way into flash: erase setting, chunks, double buffering, CRC, page ranges and fill pieces.
#include <gtest/gtest.h>

#include <algorithm>

#include "tests/support/ConnectedChip.h"

namespace flash::test {
namespace {

constexpr char kTimedOut[] = "Timed out waiting for target flashloader to execute command.";

const Bytes kDigits = {'1', '2', '3', '4', '5', '6', '7', '8', '9'};
constexpr std::uint32_t kCrcOfDigits = 0xCBF4'3926;

class Pipeline : public testing::Test {
protected:
    std::string Program(const Bytes& data, std::uint32_t address) { return chip.Write({address, data}); }
    Texts Traffic() const {
        return TextsOf(Only(host.calls, {Service::ReadMemory, Service::WriteMemory, Service::WaitMilliseconds}));
    }

    InitializedChip chip{kLumoD};
    SimulatedHost& host = chip.host;
    SimulatedFlashloader& flashloader = host.flashloader;
};

TEST_F(Pipeline, CutsARequestIntoChunksOfOneSectorOnAlternatingBlocks) {
    const Bytes data = Pattern(10000, 1);

    ASSERT_EQ(Program(data, 0), "");

    EXPECT_EQ(chip.Commands(), (Texts{Posted(3, 0, 4096, 0), Posted(3, 0x1000, 4096, 1), Posted(3, 0x2000, 1808, 0)}));
    EXPECT_EQ(chip.FlashAt(0, 10001), Joined(data, {0xFF}));
}

TEST_F(Pipeline, ChunksFollowTheRequestAndNotTheSectors) {
    chip.SetErase(kNoErase);
    const Bytes data = Pattern(4097, 1);

    ASSERT_EQ(Program(data, 0x1FF0), "");

    EXPECT_EQ(chip.Commands(), (Texts{Posted(2, 0x1FF0, 4096, 0), Posted(2, 0x2FF0, 1, 1)}));
    EXPECT_EQ(chip.FlashAt(0x1FF0, 4097), data);
}

TEST_F(Pipeline, UsesTheSectorSizeOfTheSecondGeneration) {
    InitializedChip second(kLumoF);

    ASSERT_EQ(second.Write({0x2000, Pattern(8193, 1)}), "");

    EXPECT_EQ(second.Commands(), (Texts{Posted(3, 0x2000, 8192, 0), Posted(3, 0x4000, 1, 1)}));
}

TEST_F(Pipeline, FillsOneBufferWhileTheTargetWorksFromTheOther) {
    chip.LoadFlashloader();

    ASSERT_EQ(Program(Pattern(9000, 1), 0), "");

    EXPECT_EQ(Traffic(), (Texts{"WriteMemory 0x20001000 4096*1", "WriteMemory 0x20000200 20*1",
                                "ReadMemory 0x20000228 1*4",  // the block never used
                                "WriteMemory 0x20004000 4096*1", "WriteMemory 0x20000218 20*1",
                                "ReadMemory 0x20000210 1*4",  // of the first chunk
                                "WriteMemory 0x20001000 808*1", "WriteMemory 0x20000200 20*1",
                                "ReadMemory 0x20000228 1*4",     // of the second
                                "ReadMemory 0x20000210 1*4"}));  // of the last
}

TEST_F(Pipeline, TheNextRequestGoesOnWithTheOtherBlock) {
    ASSERT_EQ(Program(Pattern(10, 1), 0), "");
    ASSERT_EQ(Program(Pattern(10, 2), 0x1000), "");
    ASSERT_EQ(Program(Pattern(5000, 3), 0x2000), "");

    EXPECT_EQ(chip.Commands(), (Texts{Posted(3, 0, 10, 0), Posted(3, 0x1000, 10, 1), Posted(3, 0x2000, 4096, 0),
                                      Posted(3, 0x3000, 904, 1)}));
    EXPECT_EQ(flashloader.loads, 1U);
}

TEST_F(Pipeline, TheNextLoadStartsAfresh) {
    ASSERT_EQ(chip.Load({{0, Pattern(10, 9)}}), "");
    host.ForgetCalls();

    ASSERT_EQ(chip.Load({{0, Pattern(20, 8)}}), "");

    EXPECT_EQ(chip.Commands(), Texts{Posted(3, 0, 20, 0)}) << "the index of blocks starts at 0 again";
    EXPECT_EQ(flashloader.loads, 2U);
    EXPECT_EQ(chip.FlashAt(0, 20), Pattern(20, 8));
}

// The target looks for the next command in the other block as soon as one is posted, whatever fails on the host.
TEST_F(Pipeline, ARequestThatFailedBehindItsPostCanBeMadeAgain) {
    struct Case {
        const char* name;
        const char* eraseSetting;
        Service service;
        std::size_t n;
    };
    const Case cases[] = {
        {"the start of the bank erase", kBank, Service::RunTarget, 2},
        {"the answer of the bank erase", kBank, Service::ReadMemory, 1},
        {"telling the chunk", kNecessary, Service::PrintMessage, 2},
        {"the answer of the block before", kNecessary, Service::ReadMemory, 1},
        {"the last answer", kNecessary, Service::ReadMemory, 2},
    };
    const Segment segment{0x1000, Pattern(100, 1)};
    for (const Case& each : cases) {
        InitializedChip other(kLumoD);
        other.StartVerbosely();
        other.Property("FlashEraseSetting") = each.eraseSetting;
        other.host.failures.FailNth(each.service, each.n, "lost");
        ASSERT_EQ(other.Write(segment), "lost") << each.name;

        EXPECT_EQ(other.Write(segment), "") << each.name;

        EXPECT_EQ(other.FlashAt(0x1000, 100), segment.data) << each.name;
    }
}

TEST_F(Pipeline, AnEmptyRequestLoadsAndWaitsOnTheLastBlock) {
    ASSERT_EQ(Program({}, 0x1000), "");

    EXPECT_EQ(flashloader.loads, 1U);
    EXPECT_EQ(Traffic(), Texts{"ReadMemory 0x20000228 1*4"});
    ASSERT_EQ(Program(Pattern(3, 1), 0), "");
    EXPECT_EQ(chip.Commands(), Texts{Posted(3, 0, 3, 0)}) << "the index of blocks stays";
}

TEST_F(Pipeline, TheEraseSettingSelectsTheCommand) {
    struct Case {
        const char* setting;
        Texts commands;
    };
    const Case cases[] = {
        {kNoErase, {Posted(2, 0x1000, 3, 0)}},
        {kNecessary, {Posted(3, 0x1000, 3, 0)}},
        {"anything else", {Posted(3, 0x1000, 3, 0)}},
        {kRetain, {Posted(4, 0x1000, 3, 0)}},
        {kBank, {Posted(1, 0, 0, 0), Posted(2, 0x1000, 3, 1)}},
        {kSpecific, {Posted(5, 0x2000, 8191, 0), Posted(5, 0x5000, 4095, 1), Posted(2, 0x1000, 3, 0)}},
    };
    for (const Case& each : cases) {
        InitializedChip other(kLumoD);
        other.Property("FlashEraseSetting") = each.setting;
        other.Property("ProgramLoadEraseSpecificText") = "2-3, 5";
        EXPECT_EQ(other.Write({0x1000, Pattern(3, 1)}), "");
        EXPECT_EQ(other.Commands(), each.commands) << each.setting;
    }
}

TEST_F(Pipeline, ListedSectorsAreErasedWithEachRequest) {
    chip.SetErase(kSpecific);
    chip.Property("ProgramLoadEraseSpecificText") = "2";
    host.memory.Fill(0x1000, 0x77, 0x2000);

    ASSERT_EQ(chip.Load({{0x2000, Pattern(10, 1)}, {0, Pattern(10, 2)}}), "");

    EXPECT_EQ(chip.Commands(), (Texts{Posted(5, 0x2000, 4095, 0), Posted(2, 0x2000, 10, 1), Posted(5, 0x2000, 4095, 0),
                                      Posted(2, 0, 10, 1)}));
    EXPECT_EQ(chip.FlashAt(0x1FFF, 12), Joined({0x77}, Joined(Pattern(10, 1), {0xFF})));
}

TEST_F(Pipeline, NeedsTheEraseSettingAndItsList) {
    chip.SetErase(kSpecific);
    host.properties.erase("ProgramLoadEraseSpecificText");
    EXPECT_EQ(Program(Pattern(3, 1), 0), "Unknown property \"ProgramLoadEraseSpecificText\"");

    host.properties.erase("FlashEraseSetting");
    EXPECT_EQ(Program(Pattern(3, 1), 0), "Unknown property \"FlashEraseSetting\"");
}

TEST_F(Pipeline, ErasesTheBankOnceBetweenTwoResets) {
    chip.SetErase(kBank);
    ASSERT_EQ(Program(Pattern(3, 1), 0), "");
    ASSERT_EQ(Program(Pattern(3, 1), 0x1000), "");
    EXPECT_EQ(chip.Commands(), (Texts{Posted(1, 0, 0, 0), Posted(2, 0, 3, 1), Posted(2, 0x1000, 3, 0)}));

    host.ForgetCalls();
    ASSERT_EQ(chip.Notify(0), "");
    ASSERT_EQ(Program(Pattern(3, 1), 0x2000), "");

    EXPECT_EQ(chip.Commands(), (Texts{Posted(1, 0, 0, 0), Posted(2, 0x2000, 3, 1)}));
}

TEST_F(Pipeline, AFailingBankEraseEndsTheRequestAndIsTriedAgain) {
    chip.SetErase(kBank);
    flashloader.AnswerNth(1, AnswerWithStatus(0x0004'0102));

    EXPECT_EQ(Program(Pattern(3, 1), 0),
              "Erasing all unprotected pages failed! Timed out waiting for target flashloader to complete command");
    EXPECT_EQ(Program(Pattern(3, 1), 0), "");

    EXPECT_EQ(chip.Commands(), (Texts{Posted(1, 0, 0, 0), Posted(1, 0, 0, 1), Posted(2, 0, 3, 0)}));
}

TEST_F(Pipeline, SendsTheCrcOfEachChunkWhenAsked) {
    chip.SwitchOn("CrcVerify");
    chip.SetErase(kNoErase);
    Bytes data(4096 + kDigits.size(), 0xA5);
    std::ranges::copy(kDigits, data.begin() + 4096);

    ASSERT_EQ(Program(kDigits, 0x1000), "");
    ASSERT_EQ(Program(data, 0x2000), "");

    EXPECT_EQ(chip.Commands().at(0), Posted(0x12, 0x1000, 9, 0, kCrcOfDigits));
    EXPECT_EQ(chip.Commands().at(2), Posted(0x12, 0x3000, 9, 0, kCrcOfDigits)) << "of the chunk, not of the request";
}

TEST_F(Pipeline, AddsTheCrcFlagToEveryProgramCommand) {
    struct Case {
        const char* setting;
        std::uint32_t command;
    };
    for (const Case& each : {Case{kNoErase, 0x12}, {kNecessary, 0x13}, {kRetain, 0x14}}) {
        InitializedChip other(kLumoD);
        other.SwitchOn("CrcVerify");
        other.Property("FlashEraseSetting") = each.setting;
        EXPECT_EQ(other.Write({0, Pattern(5000, 1)}), "") << "the target finds the CRC right";
        ASSERT_EQ(other.host.flashloader.commands.size(), 2U);
        EXPECT_EQ(other.host.flashloader.commands[0].command, each.command) << each.setting;
        EXPECT_EQ(other.host.flashloader.commands[1].command, each.command) << each.setting;
        EXPECT_EQ(other.FlashAt(0, 5000), Pattern(5000, 1));
    }
}

TEST_F(Pipeline, FailsWhenTheTargetFindsAnotherCrc) {
    chip.SwitchOn("CrcVerify");
    chip.SetErase(kNoErase);
    host.memory.Fill(0x1000, 0, 4);

    EXPECT_EQ(Program(Bytes(4, 0xFF), 0x1000), kTimedOut);
}

TEST_F(Pipeline, SendsNoCrcForAnyOtherText) {
    for (const char* text : {"0", "true", "01"}) {
        chip.Property("CrcVerify") = text;
        host.ForgetCalls();
        ASSERT_EQ(chip.Notify(0), "");
        ASSERT_EQ(Program(Pattern(3, 1), 0), "");
        EXPECT_EQ(chip.Commands(), Texts{Posted(3, 0, 3, 0)}) << text;
    }
}

TEST_F(Pipeline, TheCrcFlagStaysForTheRestOfTheRequest) {
    chip.SwitchOn("CrcVerify");
    host.failures.HideProperty("CrcVerify", 4);  // the first chunk reads it three times

    // The second chunk has no CRC but still the flag, so that the target finds it wrong.
    EXPECT_EQ(Program(Pattern(4100, 1), 0), kTimedOut);

    EXPECT_EQ(chip.Commands().at(1), Posted(0x13, 0x1000, 4, 1, 0));
}

TEST_F(Pipeline, TellsEachChunkBehindItsPostAndBeforeTheWait) {
    chip.StartVerbosely();
    chip.LoadFlashloader();

    ASSERT_EQ(Program(Pattern(3, 1), 0x1'ABC0), "");

    EXPECT_EQ(chip.Calls(), (Texts{"WriteMemory 0x20001000 3*1", "WriteMemory 0x20000200 20*1",
                                   "PrintMessage   Chunk 1: addr=0x0001ABC0, length=3 (using block 0)",
                                   "ReadMemory 0x20000228 1*4", "ReadMemory 0x20000210 1*4"}));
}

TEST_F(Pipeline, NumbersTheChunksOfARequestAndTellsTheirCrc) {
    chip.StartVerbosely();
    chip.LoadFlashloader();
    ASSERT_EQ(Program(Pattern(4106, 1), 0x1000), "");
    EXPECT_EQ(host.messages, (Texts{"  Chunk 1: addr=0x00001000, length=4096 (using block 0)",
                                    "  Chunk 2: addr=0x00002000, length=10 (using block 1)"}));

    host.ForgetCalls();
    chip.SwitchOn("CrcVerify");
    ASSERT_EQ(Program(kDigits, 0x3000), "");
    EXPECT_EQ(host.messages, Texts{"  Chunk 1: addr=0x00003000, length=9, crc=0xCBF43926 (using block 0)"});
}

TEST_F(Pipeline, SaysNothingWithoutVerboseMode) {
    ASSERT_EQ(Program(Pattern(10000, 1), 0), "");
    EXPECT_TRUE(host.messages.empty());
    EXPECT_TRUE(host.errors.empty());
}

TEST_F(Pipeline, ExplainsABufferThatCannotBeWritten) {
    constexpr char kFailed[] =
        "Failed to write data to temporary buffer in RAM before programming device FLASH memory.";
    struct Case {
        std::size_t n;  // of the writes: buffer, block, buffer, ...
        const char* details;
    };
    const Case cases[] = {
        {1, " addr=0x20001000, writeLength=4096(0x1000), bufIdx=0\nError: 100%s lost\n"},
        {3, " addr=0x20004000, writeLength=26(0x1A), bufIdx=1\nError: 100%s lost\n"},
    };
    for (const Case& each : cases) {
        InitializedChip other(kLumoD);
        other.host.failures.FailNth(Service::WriteMemory, each.n, "100%s lost");
        EXPECT_EQ(other.Write({0, Pattern(4122, 1)}), kFailed);
        EXPECT_EQ(other.host.messages, Texts{std::string("  ") + kFailed + each.details});
    }
}

TEST_F(Pipeline, NamesTheChunkJustPostedWhenTheOneBeforeFailed) {
    chip.SwitchOn("CrcVerify");
    flashloader.AnswerNth(1, AnswerWithStatus(0x0002'0103));

    EXPECT_EQ(Program(Pattern(9000, 1), 0x1000), kTimedOut);

    EXPECT_EQ(host.messages, Texts{"  Command=19 -- addr=0x00002000 -- length=0x00001000"});
    EXPECT_EQ(TextOf(host.calls.back()), "HaltTarget");
    EXPECT_EQ(flashloader.commands.size(), 2U);
}

TEST_F(Pipeline, NamesNoCommandWhenTheLastOneFailed) {
    flashloader.AnswerNth(2, AnswerWithStatus(0x103));

    EXPECT_EQ(Program(Pattern(5000, 1), 0), kTimedOut);

    EXPECT_TRUE(host.messages.empty());
    EXPECT_EQ(TextOf(host.calls.back()), "HaltTarget");
}

TEST_F(Pipeline, TheTextOfAFailingHaltWins) {
    for (const std::size_t length : {5000U, 3U}) {  // the wait for the chunk before, and the last wait
        flashloader.AnswerNth(1, AnswerWithStatus(0x103));
        host.failures.FailNth(Service::HaltTarget, 2, "cannot halt");  // the first is of loading
        EXPECT_EQ(Program(Pattern(length, 1), 0), "cannot halt") << length;
        ASSERT_EQ(chip.Notify(0), "");
    }
}

TEST_F(Pipeline, WaitsForASlowTargetWhileTheNextChunkTravels) {
    flashloader.AnswerAll(AnswerAfterPolls(7));
    const Bytes data = Pattern(10000, 1);

    ASSERT_EQ(Program(data, 0), "");

    EXPECT_EQ(chip.FlashAt(0, 10000), data);
    EXPECT_EQ(host.CountOf(Service::WaitMilliseconds), 21U);
    const Texts transfers = TextsOf(Only(host.calls, {Service::WriteMemory, Service::WaitMilliseconds}));
    EXPECT_EQ(transfers.at(2), "WriteMemory 0x20004000 4096*1") << "before the first chunk is waited for";
}

TEST_F(Pipeline, IsNotLoadedAgainAfterATimeOutBeforeTheNextReset) {
    flashloader.AnswerNth(1, AnswerWithStatus(0x103));
    EXPECT_EQ(Program(Pattern(3, 1), 0), kTimedOut);

    EXPECT_EQ(Program(Pattern(3, 1), 0), kTimedOut) << "the target is halted";
    EXPECT_EQ(flashloader.loads, 1U);

    ASSERT_EQ(chip.Notify(0), "");
    EXPECT_EQ(Program(Pattern(3, 1), 0), "");
}

TEST_F(Pipeline, AFailingRangeEraseOfTheSettingEndsTheRequest) {
    chip.SetErase(kSpecific);
    chip.Property("ProgramLoadEraseSpecificText") = "1,3";
    flashloader.AnswerNth(1, AnswerWithStatus(0x102));

    EXPECT_EQ(Program(Pattern(3, 1), 0), kTimedOut);

    EXPECT_EQ(host.messages, Texts{"  Command=5 -- addr=0x00003000 -- length=0x00000FFF"});
}

class PageRanges : public Pipeline {};

TEST_F(PageRanges, LetThroughWhatTheyMeet) {
    chip.SkipSectors("2, 4-30");  // permitted: 0-1, 3, 31
    chip.SetErase(kNoErase);
    const Bytes data = Pattern(0x3800, 1);

    ASSERT_EQ(Program(data, 0x800), "");  // up to 0x3FFF

    EXPECT_EQ(chip.Commands(),
              (Texts{Posted(2, 0x800, 4096, 0), Posted(2, 0x1800, 2047, 1), Posted(2, 0x3000, 4096, 0)}));
    EXPECT_EQ(flashloader.commands[1].data, Bytes(data.begin() + 0x1000, data.begin() + 0x17FF));
    EXPECT_EQ(flashloader.commands[2].data, Bytes(data.begin() + 0x2800, data.end()));
}

TEST_F(PageRanges, LeaveSkippedPagesAsTheyAre) {
    chip.SkipSectors("1");
    host.memory.Fill(0x1000, 0x77, 0x1000);
    const Bytes data = Pattern(0x3000, 1);

    ASSERT_EQ(chip.Load({{0, data}}), "");

    EXPECT_EQ(chip.FlashAt(0, 0x1000), Bytes(data.begin(), data.begin() + 0x1000));
    EXPECT_EQ(chip.FlashAt(0x1000, 0x1000), Bytes(0x1000, 0x77));
    EXPECT_EQ(chip.FlashAt(0x2000, 0x1000), Bytes(data.begin() + 0x2000, data.end()));
}

TEST_F(PageRanges, DataOutsideEachIsNotProgrammed) {
    for (const char* pages : {"2-5", "0-31"}) {
        chip.SkipSectors(pages);
        ASSERT_EQ(chip.Notify(0), "");
        ASSERT_EQ(Program(Pattern(0x1000, 1), 0x3000), "");
        ASSERT_EQ(Program({}, 0x3000), "");
    }
    EXPECT_EQ(chip.Calls(), Texts{});
}

TEST_F(PageRanges, InHandAreUsedWithoutAskingForTheOption) {
    chip.SkipSectors("0,2-31");
    ASSERT_EQ(Program(Pattern(16, 1), 0x1000), "");
    host.properties.erase("FlashPageToggle");
    host.ForgetCalls();

    EXPECT_EQ(Program(Pattern(16, 1), 0x1010), "");
    EXPECT_EQ(Program(Pattern(16, 1), 0x2000), "");

    EXPECT_EQ(chip.Commands(), Texts{Posted(3, 0x1010, 16, 1)});
}

TEST_F(PageRanges, TheByteThatOneNamesBeyondTheRequestIsSentAsErased) {
    chip.SkipSectors("0,2-31");
    // Ends one byte before the page does, and lies on the heap so that a read beyond it is found.
    const Bytes data = Pattern(0x1FFF, 1);

    ASSERT_EQ(Program(data, 0), "");

    EXPECT_EQ(chip.Commands(), Texts{Posted(3, 0x1000, 4096, 0)});
    EXPECT_EQ(flashloader.commands[0].data, Joined(Bytes(data.begin() + 0x1000, data.end()), {0xFF}));
}

TEST_F(PageRanges, ComeBeforeFillSkipping) {
    chip.SkipSectors("5");
    chip.SwitchOn("FlashPagesFilledWith");
    chip.Property("FlashPagesFilledWithValue") = "bad";  // never read

    ASSERT_EQ(Program(Bytes(16, 0xFF), 0), "");

    EXPECT_EQ(flashloader.commands.size(), 1U);
}

class FillPieces : public Pipeline {
protected:
    FillPieces() {
        chip.SwitchOn("FlashPagesFilledWith");
        chip.Property("FlashPagesFilledWithValue") = "0xA5";
        chip.SetErase(kNoErase);
    }
};

TEST_F(FillPieces, ARequestOfOnlyTheFillValueSendsNothing) {
    EXPECT_EQ(Program(Bytes(10000, 0xA5), 0x10), "");
    EXPECT_EQ(Program({}, 0), "");

    EXPECT_EQ(chip.Calls(), Texts{});
}

TEST_F(FillPieces, PiecesOfAnUnalignedRequestGrow) {
    const Bytes data = Pattern(200, 1);

    ASSERT_EQ(Program(data, 0x10), "");

    EXPECT_EQ(chip.Commands(),
              (Texts{Posted(2, 0x10, 16, 0), Posted(2, 0x20, 32, 1), Posted(2, 0x40, 64, 0), Posted(2, 0x80, 88, 1)}));
    EXPECT_EQ(chip.FlashAt(0x10, 200), data);
}

TEST_F(FillPieces, OnlyPiecesWithAnotherByteAreSent) {
    Bytes data(3 * 4096 + 5, 0xA5);
    data[4096] = 0;      // first byte of the second sector
    data.back() = 0x5A;  // the rest behind the third

    ASSERT_EQ(Program(data, 0x4000), "");

    EXPECT_EQ(chip.Commands(), (Texts{Posted(2, 0x5000, 4096, 0), Posted(2, 0x7000, 5, 1)}));
}

TEST_F(FillPieces, TheLastByteOfAPieceCounts) {
    Bytes data(8192, 0xA5);
    data[4095] = 0;

    ASSERT_EQ(Program(data, 0), "");

    EXPECT_EQ(chip.Commands(), Texts{Posted(2, 0, 4096, 0)});
}

TEST_F(FillPieces, ABadFillValueEndsTheRequest) {
    chip.Property("FlashPagesFilledWithValue") = "0x1FF";
    EXPECT_EQ(Program(Pattern(3, 1), 0), "Invalid option was given \"0x1FF\". Value must fit in one byte!\n");
    EXPECT_EQ(flashloader.loads, 0U);
}

}  // namespace
}  // namespace flash::test
