// Asking the target whether flash is erased.
#include <gtest/gtest.h>

#include <stdexcept>

#include "tests/support/OpenTarget.h"

namespace flash::test {
namespace {

template <typename Target>
void EraseAll(Target& target) {
    target.host.memory.Fill(0, 0xFF, target.FlashEnd());
}

TEST(BlankCheck, SendsTheReferenceValueOfTheChipsSize) {
    struct Case {
        std::uint32_t sectors;
        const char* command;
    };
    const Case cases[] = {
        {8, "command=6 addr=0x00000000 length=32768 crc=0x2E85ACA1 block=0"},
        {16, "command=6 addr=0x00000000 length=65536 crc=0xEB6D3852 block=0"},
        {32, "command=6 addr=0x00000000 length=131072 crc=0x208E45D0 block=0"},
    };
    for (const Case& each : cases) {
        OpenLumoD target(each.sectors);
        target.device.BlankCheck();
        EXPECT_EQ(TextsOf(target.flashloader.taken), Texts{each.command});
    }
    OpenLumoF second;
    second.device.BlankCheck();
    EXPECT_EQ(TextsOf(second.flashloader.taken),
              Texts{"command=6 addr=0x00000000 length=360448 crc=0x9DF984D5 block=0"});
}

TEST(BlankCheck, TellsABlankFlashOnce) {
    OpenLumoD target;
    EraseAll(target);

    EXPECT_TRUE(target.device.BlankCheck());

    EXPECT_EQ(target.host.messages, Texts{"Blank Check: Device flash is blank"});
}

TEST(BlankCheck, TellsAProgrammedFlashWhateverTheStatusSays) {
    for (const std::uint32_t status : {Answer::kOfWork, 0x102U, 0x106U, 1U}) {  // of the work: CCFG is programmed
        OpenLumoD target;
        target.flashloader.AnswerAll(AnswerWithStatus(status));
        EXPECT_FALSE(target.device.BlankCheck());
        EXPECT_EQ(target.host.messages, Texts{"Blank Check: Device flash is programmed"}) << status;
        EXPECT_EQ(target.host.CountOf(Slot::HaltTarget), 1U) << "of the load";
    }
}

TEST(BlankCheck, ATimeOutCountsAsProgrammed) {
    OpenLumoD target;
    target.flashloader.AnswerAll(kAnswerNever);

    EXPECT_FALSE(target.device.BlankCheck());

    EXPECT_EQ(target.host.messages,
              (Texts{"Target timed out! (Block 0)",
                     "  Status 0xFFFFFFFF: Target flashloader has not returned any status. Unknown error!",
                     "Blank Check: Device flash is programmed"}));
}

TEST(BlankCheck, DoesNotStartTheTargetASecondTimeAndSeesItsOwnBlock) {
    OpenLumoD target;
    EraseAll(target);
    target.LoadFlashloader();

    target.device.BlankCheck();
    target.device.BlankCheck();

    const Texts once = {"WriteMemory 0x20000200 20*1", "ReadMemory 0x20000210 1*4",
                        "PrintMessage Blank Check: Device flash is blank"};
    const Texts again = {"WriteMemory 0x20000218 20*1", "ReadMemory 0x20000228 1*4",
                         "PrintMessage Blank Check: Device flash is blank"};
    Texts expected = once;
    expected.insert(expected.end(), again.begin(), again.end());
    EXPECT_EQ(TextsOf(target.host.calls), expected);
    EXPECT_EQ(target.device.currentBlock, 0U);
}

TEST(BlankCheck, AnUnknownSizeSendsNoCommand) {
    for (const std::uint32_t sectors : {0U, 1U, 31U, 44U, 128U}) {
        OpenLumoD target(sectors == 0 ? 1 : sectors);
        if (sectors == 0) {
            target.device.flashSize = 0;
        }
        EXPECT_EQ(ThrownText<std::runtime_error>([&] { target.device.BlankCheck(); }),
                  "Cannot perform Blank Check. Unknown Flash size!")
            << sectors;
        EXPECT_EQ(target.flashloader.loads, 1U);
        EXPECT_EQ(target.host.CountOf(Slot::WriteMemory), 0U);
        EXPECT_TRUE(target.host.messages.empty());
    }
}

TEST(BlankCheckSweep, EndsWithTheHostsTextOrThatOfTheStep) {
    SweepHostErrors([](OpenLumoD& target) { target.SetVerbose(); },
                    [](OpenLumoD& target) { target.device.BlankCheck(); },
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
