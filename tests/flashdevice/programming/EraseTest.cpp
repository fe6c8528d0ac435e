// The bank erase, and the erase of listed sectors.
#include <gtest/gtest.h>

#include <stdexcept>

#include "tests/support/OpenTarget.h"

namespace flash::test {
namespace {

constexpr char kFailed[] =
    "Erasing all unprotected pages failed! Timed out waiting for target flashloader to complete command";
constexpr char kTimedOut[] = "Timed out waiting for target flashloader to execute command.";
constexpr char kUnknownStatus[] = "  Status 0xFFFFFFFF: Target flashloader has not returned any status. Unknown error!";

struct BankErase : testing::Test {
    BankErase() { target.LoadFlashloader(); }

    OpenLumoD target;
    OpenDor& device = target.device;
    FakeHost& host = target.host;
};

TEST_F(BankErase, PostsRunsWaitsForItsOwnBlockAndFlips) {
    EXPECT_TRUE(device.MassErase());

    EXPECT_EQ(TextsOf(Without(host.calls, {Slot::GetProperty})),
              (Texts{"WriteMemory 0x20000200 20*1", "RunTarget", "ReadMemory 0x20000210 1*4"}));
    EXPECT_EQ(TextsOf(target.flashloader.taken), Texts{"command=1 addr=0x00000000 length=0 crc=0x00000000 block=0"});
    EXPECT_EQ(device.currentBlock, 1U);
    EXPECT_TRUE(device.bankEraseDone);
    EXPECT_TRUE(host.messages.empty());
    EXPECT_EQ(host.memory.Bytes(0, target.FlashEnd()), std::vector<std::uint8_t>(target.FlashEnd(), 0xFF));
}

TEST_F(BankErase, GoesOnWithTheOtherBlock) {
    device.MassErase();
    device.MassErase();
    EXPECT_EQ(TextsOf(target.flashloader.taken), (Texts{"command=1 addr=0x00000000 length=0 crc=0x00000000 block=0",
                                                        "command=1 addr=0x00000000 length=0 crc=0x00000000 block=1"}));
}

TEST_F(BankErase, IsToldFirstInVerboseMode) {
    target.SetVerbose();

    device.MassErase();

    EXPECT_EQ(host.messages, Texts{"Performing bank erase"});
    EXPECT_EQ(TextOf(Without(host.calls, {Slot::GetProperty}).front()), "PrintMessage Performing bank erase");
}

TEST_F(BankErase, EveryStatusButSuccessIsAFailureAndAlwaysTold) {
    for (const std::uint32_t status : {0x102U, 1U, 0x105U, 0xFFFF'FFFEU}) {
        OpenLumoD other;
        other.host.properties["KeepCcfgSetting"] = "1";
        other.flashloader.AnswerAll(AnswerWithStatus(status));
        EXPECT_EQ(ThrownText<std::runtime_error>([&] { other.device.MassErase(); }), kFailed) << status;
        EXPECT_EQ(other.host.messages, Texts{kFailed});
        EXPECT_FALSE(other.device.bankEraseDone);
        EXPECT_EQ(other.flashloader.taken.size(), 1U) << "no restore";
        EXPECT_NE(TextOf(other.host.calls.back()), "HaltTarget");
    }
}

TEST_F(BankErase, ATimeOutIsToldFirst) {
    target.flashloader.AnswerAll(kAnswerNever);

    EXPECT_EQ(ThrownText<std::runtime_error>([&] { device.MassErase(); }), kFailed);

    EXPECT_EQ(host.messages,
              (Texts{"Target timed out! (Block 0)",
                     "  Status 0xFFFFFFFF: Target flashloader has not returned any status. Unknown error!", kFailed}));
    EXPECT_EQ(host.CountOf(Slot::WaitMilliseconds), 400U);
}

TEST_F(BankErase, KeepsCcfg) {
    host.properties["KeepCcfgSetting"] = "1";
    host.memory.SetBytes(0x1'FFA8, {1, 2, 3});
    const std::vector<std::uint8_t> before = host.memory.Bytes(0x1'FFA8, 88);

    EXPECT_TRUE(device.MassErase());

    EXPECT_EQ(
        TextsOf(Without(host.calls, {Slot::GetProperty})),
        (Texts{"ReadMemory 0x50003FB0 1*4", "ReadMemory 0x0001FFA8 88*1", "WriteMemory 0x20000200 20*1", "RunTarget",
               "ReadMemory 0x20000210 1*4", "WriteMemory 0x20002000 88*1", "WriteMemory 0x20000218 20*1"}));
    EXPECT_EQ(host.memory.Bytes(0x1'FFA8, 88), before);
    EXPECT_EQ(device.currentBlock, 0U);
}

TEST_F(BankErase, RestoresTheCopyInHandInsteadOfReadingAgain) {
    host.properties["KeepCcfgSetting"] = "1";
    device.ReadCcfg();
    host.memory.SetBytes(0x1'FFA8, std::vector<std::uint8_t>(88, 0));
    host.ClearRecord();

    device.MassErase();

    EXPECT_EQ(TextsOf(Only(host.calls, {Slot::ReadMemory})), Texts{"ReadMemory 0x20000210 1*4"});
    EXPECT_EQ(host.memory.Word(target.FlashEnd() - kCcfgSizeWordFromEnd), 0x0058'FFFFU);
}

TEST_F(BankErase, ACcfgOfNoSizeIsNotRestored) {
    host.properties["KeepCcfgSetting"] = "1";
    host.memory.SetWord(target.FlashEnd() - kCcfgSizeWordFromEnd, 0);

    EXPECT_TRUE(device.MassErase());

    EXPECT_EQ(target.flashloader.taken.size(), 1U);
}

TEST_F(BankErase, SavesCcfgBeforeTheFlashloaderIsLoaded) {
    OpenLumoD fresh;
    fresh.host.properties["KeepCcfgSetting"] = "1";

    fresh.device.MassErase();

    const Texts calls = TextsOf(Without(fresh.host.calls, {Slot::GetProperty}));
    EXPECT_EQ(Texts(calls.begin(), calls.begin() + 3),
              (Texts{"ReadMemory 0x50003FB0 1*4", "ReadMemory 0x0001FFA8 88*1", "HaltTarget"}));
}

TEST(BankEraseSweep, EndsWithTheHostsTextOrThatOfTheStep) {
    std::size_t writes = 0;
    SweepHostErrors(
        [](OpenLumoD& target) {
            target.SetVerbose();
            target.host.properties["KeepCcfgSetting"] = "1";
        },
        [](OpenLumoD& target) { target.device.MassErase(); },
        [&](Slot slot) -> std::string {
            constexpr const char* kOfWrites[] = {
                "Failed to write configuration block to target.",
                "Failed to write data to temporary buffer in RAM when restoring CCFG in FLASH memory.",
                "Failed to write configuration block to target."};
            switch (slot) {
                case Slot::LoadProgram:
                    return "Failed to write flashloader to device SRAM.";
                case Slot::WriteMemory:
                    return kOfWrites[writes++];
                default:
                    return kPlannedError;
            }
        });
    EXPECT_EQ(writes, 3U);
}

struct RangeErase : testing::Test {
    Texts Erase(const std::string& pages) {
        target.host.properties["Pages"] = pages;
        target.device.EraseSectorRanges("Pages");
        return TextsOf(target.flashloader.taken);
    }

    OpenLumoD target;
};

TEST_F(RangeErase, SendsOneByteLessThanTheRangeHolds) {
    EXPECT_EQ(Erase("2"), Texts{"command=5 addr=0x00002000 length=4095 crc=0x00000000 block=0"});
}

TEST_F(RangeErase, SendsOneCommandPerRunOfPagesAndAlternates) {
    EXPECT_EQ(Erase("9,0, 4-6 ,5,8"), (Texts{"command=5 addr=0x00000000 length=4095 crc=0x00000000 block=0",
                                             "command=5 addr=0x00004000 length=12287 crc=0x00000000 block=1",
                                             "command=5 addr=0x00008000 length=8191 crc=0x00000000 block=0"}));
    EXPECT_EQ(target.device.currentBlock, 1U);
}

TEST_F(RangeErase, ReachesTheLastPage) {
    EXPECT_EQ(Erase("0-31"), Texts{"command=5 addr=0x00000000 length=131071 crc=0x00000000 block=0"});
}

TEST_F(RangeErase, OfNoPagesDoesNotEvenLoadTheFlashloader) {
    EXPECT_EQ(Erase(""), Texts{});
    EXPECT_EQ(TextsOf(target.host.calls), (Texts{"GetProperty Pages", "GetProperty Pages"}));
}

TEST_F(RangeErase, WaitsForThePreviousBlockAndNotForTheLast) {
    Erase("1,3");

    const std::vector<HostCall> traffic = Only(target.host.calls, {Slot::ReadMemory, Slot::WriteMemory});
    EXPECT_EQ(TextsOf(traffic), (Texts{"WriteMemory 0x20000200 20*1", "ReadMemory 0x20000228 1*4",
                                       "WriteMemory 0x20000218 20*1", "ReadMemory 0x20000210 1*4"}));
}

TEST_F(RangeErase, UsesTheSectorSizeOfTheGeneration) {
    OpenLumoF other;
    other.host.properties["Pages"] = "2-3,43";

    other.device.EraseSectorRanges("Pages");

    EXPECT_EQ(TextsOf(other.flashloader.taken),
              (Texts{"command=5 addr=0x00004000 length=16383 crc=0x00000000 block=0",
                     "command=5 addr=0x00056000 length=8191 crc=0x00000000 block=1"}));
}

TEST_F(RangeErase, NamesTheCommandJustPostedWhenTheOneBeforeFailed) {
    target.flashloader.AnswerNth(1, AnswerWithStatus(0x103));
    target.host.properties["Pages"] = "2,4-5";

    EXPECT_EQ(ThrownText<std::runtime_error>([&] { target.device.EraseSectorRanges("Pages"); }), kTimedOut);

    EXPECT_EQ(target.host.messages, Texts{"  Command=5 -- addr=0x00004000 -- length=0x00001FFF"});
    EXPECT_EQ(TextOf(target.host.calls.back()), "HaltTarget");
    EXPECT_EQ(target.device.currentBlock, 0U);
}

TEST_F(RangeErase, ATimeOutIsToldFirst) {
    target.flashloader.AnswerNth(1, kAnswerNever);
    target.host.properties["Pages"] = "2,4";

    EXPECT_EQ(ThrownText<std::runtime_error>([&] { target.device.EraseSectorRanges("Pages"); }), kTimedOut);

    EXPECT_EQ(target.host.messages, (Texts{"Target timed out! (Block 0)", kUnknownStatus,
                                           "  Command=5 -- addr=0x00004000 -- length=0x00000FFF"}));
}

TEST_F(RangeErase, AFailureOfTheLastCommandIsNotSeen) {
    target.flashloader.AnswerNth(2, AnswerWithStatus(0x102));
    target.host.properties["Pages"] = "2,4";

    target.device.EraseSectorRanges("Pages");

    EXPECT_TRUE(target.host.messages.empty());
}

TEST_F(RangeErase, TheTextOfAFailingHaltWins) {
    target.flashloader.AnswerNth(1, AnswerWithStatus(1));
    target.host.properties["Pages"] = "2,4";
    target.host.FailNth(Slot::HaltTarget, 2, "cannot halt");  // the first is of the load

    EXPECT_EQ(ThrownText<std::runtime_error>([&] { target.device.EraseSectorRanges("Pages"); }), "cannot halt");
}

TEST_F(RangeErase, RefusesABadListBeforeTheTargetIsTouched) {
    target.host.properties["Pages"] = "1,3-2";

    EXPECT_EQ(ThrownText<std::runtime_error>([&] { target.device.EraseSectorRanges("Pages"); }),
              "Invalid range was given \"3-2\".\n");
    EXPECT_EQ(ThrownText<std::logic_error>([&] { target.device.EraseSectorRanges("Missing"); }),
              "Unknown property \"Missing\"");

    EXPECT_TRUE(Without(target.host.calls, {Slot::GetProperty}).empty());
}

TEST(RangeEraseSweep, EndsWithTheHostsTextOrThatOfTheStep) {
    SweepHostErrors([](OpenLumoD& target) { target.host.properties["Pages"] = "2,4"; },
                    [](OpenLumoD& target) { target.device.EraseSectorRanges("Pages"); },
                    [](Slot slot) -> std::string {
                        switch (slot) {
                            case Slot::LoadProgram:
                                return "Failed to write flashloader to device SRAM.";
                            case Slot::WriteMemory:
                                return "Failed to write configuration block to target.";
                            default:
                                return kPlannedError;
                        }
                    });
}

}  // namespace
}  // namespace flash::test
