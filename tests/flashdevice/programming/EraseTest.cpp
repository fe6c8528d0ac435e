// The bank erase, and the erase of listed sectors.
#include <gtest/gtest.h>

#include "tests/support/ConnectedChip.h"

namespace flash::test {
namespace {

constexpr char kEraseFailed[] =
    "Erasing all unprotected pages failed! Timed out waiting for target flashloader to complete command";
constexpr char kTimedOut[] = "Timed out waiting for target flashloader to execute command.";
constexpr char kUnknownStatus[] = "  Status 0xFFFFFFFF: Target flashloader has not returned any status. Unknown error!";

class BankErase : public testing::Test {
protected:
    InitializedChip chip{kLumoD};
    SimulatedHost& host = chip.host;
};

TEST_F(BankErase, LeavesNothing) {
    host.memory.Fill(0, 0, chip.FlashEnd());

    EXPECT_EQ(chip.Execute("Erase"), "");

    EXPECT_EQ(chip.Commands(), Texts{Posted(1, 0, 0, 0)});
    EXPECT_EQ(chip.Flash(), Bytes(chip.FlashEnd(), 0xFF));
    EXPECT_TRUE(host.messages.empty());
}

TEST_F(BankErase, IsToldFirstInVerboseMode) {
    chip.StartVerbosely();

    ASSERT_EQ(chip.Execute("Erase"), "");

    EXPECT_EQ(chip.Calls().front(), "PrintMessage Performing bank erase");
}

TEST_F(BankErase, EveryStatusButSuccessIsAFailureAndAlwaysTold) {
    for (const std::uint32_t status : {0x102U, 1U, 0x105U, 0xFFFF'FFFEU}) {
        InitializedChip other(kLumoD);
        other.SwitchOn("KeepCcfgSetting");
        other.host.flashloader.AnswerAll(AnswerWithStatus(status));
        EXPECT_EQ(other.Execute("Erase"), kEraseFailed) << status;
        EXPECT_EQ(other.host.messages, Texts{kEraseFailed});
        EXPECT_EQ(other.Commands().size(), 1U) << "no restore";
        EXPECT_EQ(other.host.CountOf(Service::HaltTarget), 1U) << "of loading";
    }
}

TEST_F(BankErase, ATimeOutIsToldFirst) {
    host.flashloader.AnswerAll(kAnswerNever);

    EXPECT_EQ(chip.Execute("Erase"), kEraseFailed);

    EXPECT_EQ(host.messages, (Texts{"Target timed out! (Block 0)", kUnknownStatus, kEraseFailed}));
    EXPECT_EQ(host.CountOf(Service::WaitMilliseconds), 400U);
}

TEST_F(BankErase, KeepsCcfgThatIsSavedBeforeTheFlashloaderIsLoaded) {
    chip.SwitchOn("KeepCcfgSetting");
    const Bytes before = chip.FlashAt(0x1'FFA8, 88);

    EXPECT_EQ(chip.Execute("Erase"), "");

    const Texts calls = chip.Calls();
    EXPECT_EQ(Texts(calls.begin(), calls.begin() + 3),
              (Texts{"ReadMemory 0x50003FB0 1*4", "ReadMemory 0x0001FFA8 88*1", "HaltTarget"}));
    EXPECT_EQ(Texts(calls.end() - 6, calls.end()),
              (Texts{"WriteMemory 0x20000200 20*1", "RunTarget", "ReadMemory 0x20000210 1*4",
                     "WriteMemory 0x20004000 88*1", "WriteMemory 0x20000218 20*1", "HaltTarget"}));
    EXPECT_EQ(chip.Flash(), Joined(Bytes(0x1'FFA8, 0xFF), before));
}

TEST_F(BankErase, ACcfgOfNoSizeIsNotRestored) {
    chip.SwitchOn("KeepCcfgSetting");
    host.memory.SetWord(chip.FlashEnd() - kCcfgSizeWordFromEnd, 0);

    EXPECT_EQ(chip.Execute("Erase"), "");

    EXPECT_EQ(chip.Commands(), Texts{Posted(1, 0, 0, 0)});
}

class RangeErase : public testing::Test {
protected:
    std::string Erase(const std::string& pages) {
        chip.Property("StandaloneEraseSpecificText") = pages;
        return chip.Execute("EraseSectors");
    }

    InitializedChip chip{kLumoD};
    SimulatedHost& host = chip.host;
    SimulatedFlashloader& flashloader = host.flashloader;
};

TEST_F(RangeErase, SendsOneCommandPerRunOfPagesAndAlternates) {
    EXPECT_EQ(Erase("9,0, 4-6 ,5,8"), "");

    EXPECT_EQ(chip.Commands(), (Texts{Posted(5, 0, 4095, 0), Posted(5, 0x4000, 12287, 1), Posted(5, 0x8000, 8191, 0)}))
        << "one byte less than the range holds";
}

TEST_F(RangeErase, ErasesTheListedSectorsOnly) {
    host.memory.Fill(0, 0, chip.FlashEnd());

    EXPECT_EQ(Erase("1,30-31"), "");

    EXPECT_EQ(chip.Flash(), Joined(Joined(Bytes(0x1000, 0), Bytes(0x1000, 0xFF)),
                                   Joined(Bytes(28 * 0x1000, 0), Bytes(0x2000, 0xFF))));
}

TEST_F(RangeErase, ReachesTheLastPage) {
    EXPECT_EQ(Erase("0-31"), "");
    EXPECT_EQ(chip.Commands(), Texts{Posted(5, 0, 131071, 0)});
}

TEST_F(RangeErase, OfNoPagesDoesNotEvenLoadTheFlashloader) {
    EXPECT_EQ(Erase(""), "");
    EXPECT_EQ(chip.Calls(), Texts{"HaltTarget"}) << "of the closing phase";
}

TEST_F(RangeErase, WaitsForThePreviousBlockAndNotForTheLast) {
    EXPECT_EQ(Erase("1,3"), "");

    EXPECT_EQ(TextsOf(Only(host.calls, {Service::ReadMemory, Service::WriteMemory})),
              (Texts{"WriteMemory 0x20000200 20*1", "ReadMemory 0x20000228 1*4", "WriteMemory 0x20000218 20*1",
                     "ReadMemory 0x20000210 1*4"}));
}

TEST_F(RangeErase, UsesTheSectorSizeOfTheGeneration) {
    InitializedChip second(kLumoF);
    second.Property("StandaloneEraseSpecificText") = "2-3,43";

    EXPECT_EQ(second.Execute("EraseSectors"), "");

    EXPECT_EQ(second.Commands(), (Texts{Posted(5, 0x4000, 16383, 0), Posted(5, 0x5'6000, 8191, 1)}));
}

TEST_F(RangeErase, NamesTheCommandJustPostedWhenTheOneBeforeFailed) {
    flashloader.AnswerNth(1, AnswerWithStatus(0x103));

    EXPECT_EQ(Erase("2,4-5"), kTimedOut);

    EXPECT_EQ(host.messages, Texts{"  Command=5 -- addr=0x00004000 -- length=0x00001FFF"});
    EXPECT_EQ(TextOf(host.calls.back()), "HaltTarget");
}

TEST_F(RangeErase, ATimeOutIsToldFirst) {
    flashloader.AnswerNth(1, kAnswerNever);

    EXPECT_EQ(Erase("2,4"), kTimedOut);

    EXPECT_EQ(host.messages, (Texts{"Target timed out! (Block 0)", kUnknownStatus,
                                    "  Command=5 -- addr=0x00004000 -- length=0x00000FFF"}));
}

TEST_F(RangeErase, AFailureOfTheLastCommandIsNotSeen) {
    flashloader.AnswerNth(2, AnswerWithStatus(0x102));

    EXPECT_EQ(Erase("2,4"), "");

    EXPECT_TRUE(host.messages.empty());
}

TEST_F(RangeErase, TheTextOfAFailingHaltWins) {
    flashloader.AnswerNth(1, AnswerWithStatus(1));
    host.failures.FailNth(Service::HaltTarget, 2, "cannot halt");  // the first is of loading

    EXPECT_EQ(Erase("2,4"), "cannot halt");
}

TEST_F(RangeErase, RefusesABadListBeforeTheTargetIsTouched) {
    EXPECT_EQ(Erase("1,3-2"), "Invalid range was given \"3-2\".\n");
    host.properties.erase("StandaloneEraseSpecificText");
    EXPECT_EQ(chip.Execute("EraseSectors"), "Unknown property \"StandaloneEraseSpecificText\"");

    EXPECT_EQ(chip.Calls(), Texts{});
}

}  // namespace
}  // namespace flash::test
