// The bank erase. (The erase of listed sectors is tested with the mailbox.)
#include <gtest/gtest.h>

#include <stdexcept>

#include "tests/support/OpenTarget.h"

namespace flash::test {
namespace {

constexpr char kFailed[] =
    "Erasing all unprotected pages failed! Timed out waiting for target flashloader to complete command";

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

}  // namespace
}  // namespace flash::test
