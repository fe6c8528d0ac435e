// A host's data on its way into flash: erase setting, chunks, double buffering, CRC, page ranges and fill pieces.
#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>

#include "tests/support/OpenTarget.h"

namespace flash::test {
namespace {

constexpr char kTimedOut[] = "Timed out waiting for target flashloader to execute command.";

std::vector<std::uint8_t> Pattern(std::size_t length) {
    std::vector<std::uint8_t> data(length);
    for (std::size_t i = 0; i < length; ++i) {
        data[i] = static_cast<std::uint8_t>(i * 7 + i / 256 + 1);
    }
    return data;
}

struct Pipeline : testing::Test {
    void Program(const std::vector<std::uint8_t>& data, std::uint32_t address) {
        device.ProgramData(data.data(), address, static_cast<std::uint32_t>(data.size()));
    }
    Texts Commands() const { return TextsOf(target.flashloader.taken); }
    Texts Traffic() const {
        return TextsOf(
            Only(host.calls, {Slot::ReadMemory, Slot::WriteMemory, Slot::WaitMilliseconds, Slot::HaltTarget}));
    }

    OpenLumoD target;
    OpenDor& device = target.device;
    FakeHost& host = target.host;
};

TEST_F(Pipeline, CutsARequestIntoChunksOfOneSectorOnAlternatingBlocks) {
    const std::vector<std::uint8_t> data = Pattern(10000);

    Program(data, 0);

    EXPECT_EQ(Commands(), (Texts{"command=3 addr=0x00000000 length=4096 crc=0x00000000 block=0",
                                 "command=3 addr=0x00001000 length=4096 crc=0x00000000 block=1",
                                 "command=3 addr=0x00002000 length=1808 crc=0x00000000 block=0"}));
    EXPECT_EQ(host.memory.Bytes(0, data.size()), data);
}

TEST_F(Pipeline, ChunksFollowTheRequestAndNotTheSectors) {
    host.properties["FlashEraseSetting"] = "Do not erase sectors (program load only)";
    const std::vector<std::uint8_t> data = Pattern(4097);

    Program(data, 0x1FF0);

    EXPECT_EQ(Commands(), (Texts{"command=2 addr=0x00001FF0 length=4096 crc=0x00000000 block=0",
                                 "command=2 addr=0x00002FF0 length=1 crc=0x00000000 block=1"}));
    EXPECT_EQ(host.memory.Bytes(0x1FF0, data.size()), data);
}

TEST_F(Pipeline, UsesTheSectorSizeOfTheSecondGeneration) {
    OpenLumoF other;
    const std::vector<std::uint8_t> data = Pattern(8193);

    other.device.ProgramData(data.data(), 0x2000, 8193);

    EXPECT_EQ(TextsOf(other.flashloader.taken), (Texts{"command=3 addr=0x00002000 length=8192 crc=0x00000000 block=0",
                                                       "command=3 addr=0x00004000 length=1 crc=0x00000000 block=1"}));
}

TEST_F(Pipeline, FillsOneBufferWhileTheTargetWorksFromTheOther) {
    target.LoadFlashloader();

    Program(Pattern(9000), 0);

    EXPECT_EQ(Traffic(), (Texts{"WriteMemory 0x20001000 4096*1", "WriteMemory 0x20000200 20*1",
                                "ReadMemory 0x20000228 1*4",  // the block never used
                                "WriteMemory 0x20002000 4096*1", "WriteMemory 0x20000218 20*1",
                                "ReadMemory 0x20000210 1*4",  // of the first chunk
                                "WriteMemory 0x20001000 808*1", "WriteMemory 0x20000200 20*1",
                                "ReadMemory 0x20000228 1*4",     // of the second
                                "ReadMemory 0x20000210 1*4"}));  // of the last
}

TEST_F(Pipeline, LoadsTheFlashloaderBeforeTheFirstChunkOnly) {
    Program(Pattern(10), 0);
    Program(Pattern(10), 0x1000);

    EXPECT_EQ(target.flashloader.loads, 1U);
    EXPECT_EQ(TextOf(Without(host.calls, {Slot::GetProperty}).front()), "HaltTarget");
}

TEST_F(Pipeline, TheNextRequestGoesOnWithTheOtherBlock) {
    Program(Pattern(10), 0);
    Program(Pattern(10), 0x1000);
    Program(Pattern(5000), 0x2000);

    EXPECT_EQ(Commands(), (Texts{"command=3 addr=0x00000000 length=10 crc=0x00000000 block=0",
                                 "command=3 addr=0x00001000 length=10 crc=0x00000000 block=1",
                                 "command=3 addr=0x00002000 length=4096 crc=0x00000000 block=0",
                                 "command=3 addr=0x00003000 length=904 crc=0x00000000 block=1"}));
    EXPECT_EQ(device.currentBlock, 0U);
}

// The target looks for the next command in the other block as soon as one is posted, whatever fails on the host.
TEST_F(Pipeline, ARequestThatFailedBehindItsPostCanBeMadeAgain) {
    struct Case {
        const char* name;
        const char* eraseSetting;
        Slot slot;
        std::size_t n;
    };
    const Case cases[] = {
        {"the start of the bank erase", "All Unprotected Sectors", Slot::RunTarget, 2},
        {"the answer of the bank erase", "All Unprotected Sectors", Slot::ReadMemory, 1},
        {"telling the chunk", "Necessary Sectors Only", Slot::PrintMessage, 2},
        {"the answer of the block before", "Necessary Sectors Only", Slot::ReadMemory, 1},
        {"the last answer", "Necessary Sectors Only", Slot::ReadMemory, 2},
    };
    const std::vector<std::uint8_t> data = Pattern(100);
    for (const Case& each : cases) {
        OpenLumoD other;
        other.SetVerbose();
        other.host.properties["FlashEraseSetting"] = each.eraseSetting;
        const auto write = [&] { other.device.ProgramData(data.data(), 0x1000, 100); };
        other.host.FailNth(each.slot, each.n, kPlannedError);
        ASSERT_EQ(ThrownText<std::runtime_error>(write), kPlannedError) << each.name;

        EXPECT_EQ(ThrownText<std::runtime_error>(write), "(nothing thrown)") << each.name;

        EXPECT_EQ(other.host.memory.Bytes(0x1000, data.size()), data) << each.name;
    }
}

TEST_F(Pipeline, AnEmptyRequestLoadsAndWaitsOnTheLastBlock) {
    device.ProgramData(nullptr, 0x1000, 0);

    EXPECT_EQ(target.flashloader.loads, 1U);
    EXPECT_EQ(TextsOf(Only(host.calls, {Slot::ReadMemory, Slot::WriteMemory})), Texts{"ReadMemory 0x20000228 1*4"});
    EXPECT_EQ(device.currentBlock, 0U);
}

TEST_F(Pipeline, TheEraseSettingSelectsTheCommand) {
    struct Case {
        const char* setting;
        Texts commands;
    };
    const Case cases[] = {
        {"Do not erase sectors (program load only)", {"command=2 addr=0x00001000 length=3 crc=0x00000000 block=0"}},
        {"Necessary Sectors Only", {"command=3 addr=0x00001000 length=3 crc=0x00000000 block=0"}},
        {"anything else", {"command=3 addr=0x00001000 length=3 crc=0x00000000 block=0"}},
        {"Necessary Sectors Only (Retain untouched content within sector)",
         {"command=4 addr=0x00001000 length=3 crc=0x00000000 block=0"}},
        {"All Unprotected Sectors",
         {"command=1 addr=0x00000000 length=0 crc=0x00000000 block=0",
          "command=2 addr=0x00001000 length=3 crc=0x00000000 block=1"}},
        {"Specific Sectors",
         {"command=5 addr=0x00002000 length=8191 crc=0x00000000 block=0",
          "command=5 addr=0x00005000 length=4095 crc=0x00000000 block=1",
          "command=2 addr=0x00001000 length=3 crc=0x00000000 block=0"}},
    };
    for (const Case& each : cases) {
        OpenLumoD other;
        other.host.properties["FlashEraseSetting"] = each.setting;
        other.host.properties["ProgramLoadEraseSpecificText"] = "2-3, 5";
        const std::vector<std::uint8_t> data = Pattern(3);
        other.device.ProgramData(data.data(), 0x1000, 3);
        EXPECT_EQ(TextsOf(other.flashloader.taken), each.commands) << each.setting;
    }
}

TEST_F(Pipeline, NeedsTheEraseSettingAndItsList) {
    host.properties["FlashEraseSetting"] = "Specific Sectors";
    host.properties.erase("ProgramLoadEraseSpecificText");
    EXPECT_EQ(ThrownText<std::logic_error>([&] { Program(Pattern(3), 0); }),
              "Unknown property \"ProgramLoadEraseSpecificText\"");

    host.properties.erase("FlashEraseSetting");
    EXPECT_EQ(ThrownText<std::logic_error>([&] { Program(Pattern(3), 0); }), "Unknown property \"FlashEraseSetting\"");
}

TEST_F(Pipeline, ErasesTheBankOnceBetweenTwoResets) {
    host.properties["FlashEraseSetting"] = "All Unprotected Sectors";
    Program(Pattern(3), 0);
    Program(Pattern(3), 0x1000);
    EXPECT_EQ(target.flashloader.taken.size(), 3U);

    device.OnFlashPhase(0);
    Program(Pattern(3), 0x2000);

    EXPECT_EQ(Commands(), (Texts{"command=1 addr=0x00000000 length=0 crc=0x00000000 block=0",
                                 "command=2 addr=0x00000000 length=3 crc=0x00000000 block=1",
                                 "command=2 addr=0x00001000 length=3 crc=0x00000000 block=0",
                                 "command=1 addr=0x00000000 length=0 crc=0x00000000 block=0",
                                 "command=2 addr=0x00002000 length=3 crc=0x00000000 block=1"}));
}

TEST_F(Pipeline, AFailingBankEraseEndsTheRequest) {
    host.properties["FlashEraseSetting"] = "All Unprotected Sectors";
    target.flashloader.AnswerCommand(1, AnswerWithStatus(0x102));

    EXPECT_EQ(ThrownText<std::runtime_error>([&] { Program(Pattern(3), 0); }),
              "Erasing all unprotected pages failed! Timed out waiting for target flashloader to complete command");

    EXPECT_EQ(target.flashloader.taken.size(), 1U);
    EXPECT_FALSE(device.bankEraseDone);
}

TEST_F(Pipeline, SendsTheCrcOfEachChunkWhenAsked) {
    host.properties["CrcVerify"] = "1";
    host.properties["FlashEraseSetting"] = "Do not erase sectors (program load only)";
    const std::string digits = "123456789";

    Program({digits.begin(), digits.end()}, 0x1000);

    EXPECT_EQ(Commands(), Texts{"command=18 addr=0x00001000 length=9 crc=0xCBF43926 block=0"});
}

TEST_F(Pipeline, AddsTheCrcFlagToEveryProgramCommand) {
    struct Case {
        const char* setting;
        std::uint32_t command;
    };
    const Case cases[] = {
        {"Do not erase sectors (program load only)", 0x12},
        {"Necessary Sectors Only", 0x13},
        {"Necessary Sectors Only (Retain untouched content within sector)", 0x14},
    };
    for (const Case& each : cases) {
        OpenLumoD other;
        other.host.properties["CrcVerify"] = "1";
        other.host.properties["FlashEraseSetting"] = each.setting;
        const std::vector<std::uint8_t> data = Pattern(5000);
        other.device.ProgramData(data.data(), 0, 5000);
        ASSERT_EQ(other.flashloader.taken.size(), 2U);
        EXPECT_EQ(other.flashloader.taken[0].command, each.command) << each.setting;
        EXPECT_EQ(other.flashloader.taken[1].command, each.command) << each.setting;
        EXPECT_EQ(other.host.memory.Bytes(0, 5000), data) << "the target found the CRC right";
    }
}

TEST_F(Pipeline, SendsNoCrcForAnyOtherText) {
    for (const char* text : {"0", "true", "01"}) {
        host.properties["CrcVerify"] = text;
        target.flashloader.taken.clear();
        device.OnFlashPhase(0);
        Program(Pattern(3), 0);
        EXPECT_EQ(Commands(), Texts{"command=3 addr=0x00000000 length=3 crc=0x00000000 block=0"}) << text;
    }
}

TEST_F(Pipeline, TheCrcFlagStaysForTheRestOfTheRequest) {
    host.properties["CrcVerify"] = "1";
    host.HideProperty("CrcVerify", 4);  // the first chunk reads it three times

    // The second chunk has no CRC but still the flag, so that the target finds it wrong.
    EXPECT_EQ(ThrownText<std::runtime_error>([&] { Program(Pattern(4100), 0); }), kTimedOut);

    ASSERT_EQ(target.flashloader.taken.size(), 2U);
    EXPECT_EQ(target.flashloader.taken[1].command, 0x13U);
    EXPECT_EQ(target.flashloader.taken[1].crc, 0U);
}

TEST_F(Pipeline, TheCrcIsOfTheChunkAndNotOfTheRequest) {
    host.properties["CrcVerify"] = "1";
    const std::string digits = "123456789";
    std::vector<std::uint8_t> data(4096 + digits.size(), 0xA5);
    std::copy(digits.begin(), digits.end(), data.begin() + 4096);

    Program(data, 0);

    EXPECT_EQ(target.flashloader.taken.at(1).crc, 0xCBF4'3926U);
}

TEST_F(Pipeline, TellsEachChunkInVerboseMode) {
    target.LoadFlashloader();
    target.SetVerbose();

    Program(Pattern(4106), 0x1000);

    EXPECT_EQ(host.messages, (Texts{"  Chunk 1: addr=0x00001000, length=4096 (using block 0)",
                                    "  Chunk 2: addr=0x00002000, length=10 (using block 1)"}));
}

TEST_F(Pipeline, TellsTheCrcOfEachChunkInVerboseMode) {
    target.LoadFlashloader();
    target.SetVerbose();
    host.properties["CrcVerify"] = "1";

    Program({'1', '2', '3', '4', '5', '6', '7', '8', '9'}, 0x1'ABC0);

    EXPECT_EQ(host.messages, Texts{"  Chunk 1: addr=0x0001ABC0, length=9, crc=0xCBF43926 (using block 0)"});
}

TEST_F(Pipeline, TellsAChunkAfterItIsPostedAndBeforeTheWait) {
    target.LoadFlashloader();
    target.SetVerbose();

    Program(Pattern(3), 0);

    EXPECT_EQ(TextsOf(Without(host.calls, {Slot::GetProperty})),
              (Texts{"WriteMemory 0x20001000 3*1", "WriteMemory 0x20000200 20*1",
                     "PrintMessage   Chunk 1: addr=0x00000000, length=3 (using block 0)", "ReadMemory 0x20000228 1*4",
                     "ReadMemory 0x20000210 1*4"}));
}

TEST_F(Pipeline, SaysNothingWithoutVerboseMode) {
    Program(Pattern(10000), 0);
    EXPECT_TRUE(host.messages.empty());
    EXPECT_TRUE(host.errors.empty());
}

TEST_F(Pipeline, ExplainsABufferThatCannotBeWritten) {
    struct Case {
        std::size_t n;  // of the writes: buffer, block, buffer, ...
        const char* message;
    };
    const Case cases[] = {
        {1,
         "  Failed to write data to temporary buffer in RAM before programming device FLASH memory. addr=0x20001000, "
         "writeLength=4096(0x1000), bufIdx=0\nError: 100%s lost\n"},
        {3,
         "  Failed to write data to temporary buffer in RAM before programming device FLASH memory. addr=0x20002000, "
         "writeLength=26(0x1A), bufIdx=1\nError: 100%s lost\n"},
    };
    for (const Case& each : cases) {
        OpenLumoD other;
        other.host.FailNth(Slot::WriteMemory, each.n, "100%s lost");
        const std::vector<std::uint8_t> data = Pattern(4122);
        EXPECT_EQ(ThrownText<std::runtime_error>([&] { other.device.ProgramData(data.data(), 0, 4122); }),
                  "Failed to write data to temporary buffer in RAM before programming device FLASH memory.");
        EXPECT_EQ(other.host.messages, Texts{each.message});
    }
}

TEST_F(Pipeline, NamesTheChunkJustPostedWhenTheOneBeforeFailed) {
    target.LoadFlashloader();
    host.properties["CrcVerify"] = "1";
    target.flashloader.AnswerNth(1, AnswerWithStatus(0x0002'0103));

    EXPECT_EQ(ThrownText<std::runtime_error>([&] { Program(Pattern(9000), 0x1000); }), kTimedOut);

    EXPECT_EQ(host.messages, Texts{"  Command=19 -- addr=0x00002000 -- length=0x00001000"});
    EXPECT_EQ(TextOf(host.calls.back()), "HaltTarget");
    EXPECT_EQ(target.flashloader.taken.size(), 2U);
}

TEST_F(Pipeline, NamesNoCommandWhenTheLastOneFailed) {
    target.LoadFlashloader();
    target.flashloader.AnswerNth(2, AnswerWithStatus(0x103));

    EXPECT_EQ(ThrownText<std::runtime_error>([&] { Program(Pattern(5000), 0); }), kTimedOut);

    EXPECT_TRUE(host.messages.empty());
    EXPECT_EQ(TextOf(host.calls.back()), "HaltTarget");
    EXPECT_EQ(device.currentBlock, 0U) << "flipped back before the failure";
}

TEST_F(Pipeline, ATargetThatNeverAnswersIsATimeOut) {
    target.LoadFlashloader();
    target.flashloader.AnswerAll(kAnswerNever);

    EXPECT_EQ(ThrownText<std::runtime_error>([&] { Program(Pattern(9000), 0); }), kTimedOut);

    EXPECT_EQ(host.CountOf(Slot::WaitMilliseconds), 400U);
    EXPECT_EQ(host.messages,
              (Texts{"Target timed out! (Block 0)",
                     "  Status 0xFFFFFFFF: Target flashloader has not returned any status. Unknown error!",
                     "  Command=3 -- addr=0x00001000 -- length=0x00001000"}));
}

TEST_F(Pipeline, TheTextOfAFailingHaltWins) {
    target.LoadFlashloader();
    for (const std::uint32_t length : {5000U, 3U}) {  // the wait for the chunk before, and the last wait
        target.flashloader.AnswerAll(AnswerWithStatus(0x103));
        host.FailNth(Slot::HaltTarget, 1, "cannot halt");
        const std::vector<std::uint8_t> data = Pattern(length);
        EXPECT_EQ(ThrownText<std::runtime_error>([&] { device.ProgramData(data.data(), 0, length); }), "cannot halt");
        target.flashloader.ForgetAnswers();
        device.OnFlashPhase(0);
        target.LoadFlashloader();
    }
}

TEST_F(Pipeline, WaitsForASlowTarget) {
    target.flashloader.AnswerAll(AnswerAfterPolls(7));
    const std::vector<std::uint8_t> data = Pattern(10000);

    Program(data, 0);

    EXPECT_EQ(host.memory.Bytes(0, data.size()), data);
    EXPECT_EQ(host.CountOf(Slot::WaitMilliseconds), 21U);
}

TEST_F(Pipeline, IsNotLoadedAgainAfterATimeOutBeforeTheNextReset) {
    target.flashloader.AnswerNth(1, AnswerWithStatus(0x103));
    EXPECT_THROW(Program(Pattern(3), 0), std::runtime_error);
    EXPECT_TRUE(device.flashloaderLoaded);

    EXPECT_EQ(ThrownText<std::runtime_error>([&] { Program(Pattern(3), 0); }), kTimedOut) << "the target is halted";
    EXPECT_EQ(target.flashloader.loads, 1U);

    device.OnFlashPhase(0);
    EXPECT_NO_THROW(Program(Pattern(3), 0));
}

TEST_F(Pipeline, AFailingRangeEraseOfTheSettingEndsTheRequest) {
    host.properties["FlashEraseSetting"] = "Specific Sectors";
    host.properties["ProgramLoadEraseSpecificText"] = "1,3";
    target.flashloader.AnswerNth(1, AnswerWithStatus(0x102));

    EXPECT_EQ(ThrownText<std::runtime_error>([&] { Program(Pattern(3), 0); }), kTimedOut);

    EXPECT_EQ(host.messages, Texts{"  Command=5 -- addr=0x00003000 -- length=0x00000FFF"});
}

TEST_F(Pipeline, PageRangesLetThroughWhatTheyMeet) {
    host.properties["FlashPageToggle"] = "1";
    host.properties["FlashPages"] = "2, 4-30";  // permitted: 0-1, 3, 31
    host.properties["FlashEraseSetting"] = "Do not erase sectors (program load only)";
    const std::vector<std::uint8_t> data = Pattern(0x3800);

    Program(data, 0x800);  // up to 0x3FFF

    EXPECT_EQ(Commands(), (Texts{"command=2 addr=0x00000800 length=4096 crc=0x00000000 block=0",
                                 "command=2 addr=0x00001800 length=2047 crc=0x00000000 block=1",
                                 "command=2 addr=0x00003000 length=4096 crc=0x00000000 block=0"}));
    EXPECT_EQ(target.flashloader.taken[1].data,
              std::vector<std::uint8_t>(data.begin() + 0x1000, data.begin() + 0x17FF));
    EXPECT_EQ(target.flashloader.taken[2].data, std::vector<std::uint8_t>(data.begin() + 0x2800, data.end()));
}

TEST_F(Pipeline, ARangeThatHoldsTheWholeRequestEndsTheSearch) {
    host.properties["FlashPageToggle"] = "1";
    device.sectorRanges = {"0-3", "2-5"};

    Program(Pattern(16), 0x2000);

    EXPECT_EQ(Commands(), Texts{"command=3 addr=0x00002000 length=16 crc=0x00000000 block=0"});
}

TEST_F(Pipeline, DataOutsideEveryPageRangeIsNotProgrammed) {
    host.properties["FlashPageToggle"] = "1";
    for (const char* pages : {"2-5", "0-31"}) {
        host.properties["FlashPages"] = pages;
        device.OnFlashPhase(0);
        Program(Pattern(0x1000), 0x3000);
    }
    EXPECT_EQ(target.flashloader.loads, 0U);
    EXPECT_TRUE(host.messages.empty());
    EXPECT_TRUE(host.errors.empty());
}

TEST_F(Pipeline, AnEmptyRequestOutsideEveryPageRangeLoadsNothing) {
    device.sectorRanges = {"1"};

    device.ProgramData(nullptr, 0x3000, 0);

    EXPECT_TRUE(host.calls.empty());
}

TEST_F(Pipeline, PageRangesInHandAreUsedWithoutAskingForTheOption) {
    device.sectorRanges = {"1"};
    host.properties.erase("FlashPageToggle");

    Program(Pattern(16), 0x1000);
    Program(Pattern(16), 0x2000);

    EXPECT_EQ(Commands(), Texts{"command=3 addr=0x00001000 length=16 crc=0x00000000 block=0"});
}

TEST_F(Pipeline, TheByteThatARangeNamesBeyondTheRequestIsSentAsErased) {
    device.sectorRanges = {"1-1"};
    // Ends one byte before the page does, and lies on the heap so that a read beyond it is found.
    const std::vector<std::uint8_t> data = Pattern(0x1FFF);

    Program(data, 0);

    EXPECT_EQ(Commands(), Texts{"command=3 addr=0x00001000 length=4096 crc=0x00000000 block=0"});
    std::vector<std::uint8_t> expected(data.begin() + 0x1000, data.end());
    expected.push_back(0xFF);
    EXPECT_EQ(target.flashloader.taken[0].data, expected);
}

TEST_F(Pipeline, ABadPageRangeEndsTheRequest) {
    device.sectorRanges = {"3-2"};
    EXPECT_EQ(ThrownText<std::runtime_error>([&] { Program(Pattern(16), 0); }), "Input format wrong not valid.");
}

TEST_F(Pipeline, PageSkippingComesBeforeFillSkipping) {
    host.properties["FlashPageToggle"] = "1";
    host.properties["FlashPages"] = "5";
    host.properties["FlashPagesFilledWith"] = "1";
    host.properties["FlashPagesFilledWithValue"] = "bad";  // never read

    Program(std::vector<std::uint8_t>(16, 0xFF), 0);

    EXPECT_EQ(target.flashloader.taken.size(), 1U);
}

struct FillPieces : Pipeline {
    FillPieces() {
        host.properties["FlashPagesFilledWith"] = "1";
        host.properties["FlashPagesFilledWithValue"] = "0xA5";
        host.properties["FlashEraseSetting"] = "Do not erase sectors (program load only)";
    }
};

TEST_F(FillPieces, ARequestOfOnlyTheFillValueSendsNothing) {
    Program(std::vector<std::uint8_t>(10000, 0xA5), 0x10);

    EXPECT_EQ(target.flashloader.loads, 0U);
    EXPECT_TRUE(Without(host.calls, {Slot::GetProperty}).empty());
}

TEST_F(FillPieces, PiecesOfAnUnalignedRequestGrow) {
    const std::vector<std::uint8_t> data = Pattern(200);

    Program(data, 0x10);

    EXPECT_EQ(Commands(), (Texts{"command=2 addr=0x00000010 length=16 crc=0x00000000 block=0",
                                 "command=2 addr=0x00000020 length=32 crc=0x00000000 block=1",
                                 "command=2 addr=0x00000040 length=64 crc=0x00000000 block=0",
                                 "command=2 addr=0x00000080 length=88 crc=0x00000000 block=1"}));
    EXPECT_EQ(host.memory.Bytes(0x10, 200), data);
}

TEST_F(FillPieces, OnlyPiecesWithAnotherByteAreSent) {
    std::vector<std::uint8_t> data(3 * 4096 + 5, 0xA5);
    data[4096] = 0;      // first byte of the second sector
    data.back() = 0x5A;  // the rest behind the third

    Program(data, 0x4000);

    EXPECT_EQ(Commands(), (Texts{"command=2 addr=0x00005000 length=4096 crc=0x00000000 block=0",
                                 "command=2 addr=0x00007000 length=5 crc=0x00000000 block=1"}));
}

TEST_F(FillPieces, TheLastByteOfAPieceCounts) {
    std::vector<std::uint8_t> data(8192, 0xA5);
    data[4095] = 0;

    Program(data, 0);

    EXPECT_EQ(Commands(), Texts{"command=2 addr=0x00000000 length=4096 crc=0x00000000 block=0"});
}

TEST_F(FillPieces, AnEmptyRequestDoesNothing) {
    device.ProgramData(nullptr, 0, 0);
    EXPECT_EQ(target.flashloader.loads, 0U);
}

TEST_F(FillPieces, ABadFillValueEndsTheRequest) {
    host.properties["FlashPagesFilledWithValue"] = "0x1FF";
    EXPECT_EQ(ThrownText<std::runtime_error>([&] { Program(Pattern(3), 0); }),
              "Invalid option was given \"0x1FF\". Value must fit in one byte!\n");
    EXPECT_EQ(target.flashloader.loads, 0U);
}

TEST_F(Pipeline, AMissingPageToggleIsAnError) {
    host.properties.erase("FlashPageToggle");
    EXPECT_EQ(ThrownText<std::logic_error>([&] { Program(Pattern(3), 0); }), "Unknown property \"FlashPageToggle\"");
}

TEST(PipelineSweep, EndsWithTheHostsTextOrThatOfTheStep) {
    const std::vector<std::uint8_t> data = Pattern(5000);
    std::size_t writes = 0;
    SweepHostErrors(
        [](OpenLumoD& target) {
            target.SetVerbose();
            target.host.properties["CrcVerify"] = "1";
        },
        [&](OpenLumoD& target) { target.device.ProgramData(data.data(), 0, 5000); },
        [&](Slot slot) -> std::string {
            if (slot == Slot::LoadProgram) {
                return "Failed to write flashloader to device SRAM.";
            }
            if (slot != Slot::WriteMemory) {
                return kPlannedError;
            }
            // Buffer and block take turns.
            return writes++ % 2 == 0
                       ? "Failed to write data to temporary buffer in RAM before programming device FLASH memory."
                       : "Failed to write configuration block to target.";
        });
}

}  // namespace
}  // namespace flash::test
