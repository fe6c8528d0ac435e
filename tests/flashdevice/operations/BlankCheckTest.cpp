// Asking the target whether flash is erased.
#include <gtest/gtest.h>

#include "tests/support/ConnectedChip.h"

namespace flash::test {
namespace {

constexpr char kBlank[] = "Blank Check: Device flash is blank";
constexpr char kProgrammed[] = "Blank Check: Device flash is programmed";  // with CCFG

TEST(BlankCheck, SendsTheReferenceValueOfTheChipsSize) {
    struct Case {
        const ChipModel& model;
        std::uint32_t sectors;
        std::string command;
    };
    const Case cases[] = {
        {kLumoD, 8, Posted(6, 0, 0x8000, 0, 0x2E85'ACA1)},
        {kLumoD, 16, Posted(6, 0, 0x1'0000, 0, 0xEB6D'3852)},
        {kLumoD, 32, Posted(6, 0, 0x2'0000, 0, 0x208E'45D0)},
        {kLumoF, 44, Posted(6, 0, 0x5'8000, 0, 0x9DF9'84D5)},
    };
    for (const Case& each : cases) {
        InitializedChip chip(each.model, each.sectors);
        EXPECT_EQ(chip.Execute("BlankCheck"), "");
        EXPECT_EQ(chip.Commands(), Texts{each.command});
    }
}

TEST(BlankCheck, TellsWhetherFlashIsBlank) {
    for (const ChipModel* model : {&kLumoD, &kLumoF}) {
        InitializedChip chip(*model);
        EXPECT_EQ(chip.Execute("BlankCheck"), "");
        EXPECT_EQ(chip.host.messages, Texts{kProgrammed});

        chip.host.ForgetCalls();
        chip.host.memory.Fill(0, 0xFF, chip.FlashEnd());
        EXPECT_EQ(chip.Execute("BlankCheck"), "");
        EXPECT_EQ(chip.host.messages, Texts{kBlank});
    }
}

TEST(BlankCheck, TellsAProgrammedFlashWhateverTheStatusSays) {
    for (const std::uint32_t status : {0x102U, 0x106U, 1U}) {
        InitializedChip chip(kLumoD);
        chip.host.flashloader.AnswerAll(AnswerWithStatus(status));
        EXPECT_EQ(chip.Execute("BlankCheck"), "") << status;
        EXPECT_EQ(chip.host.messages, Texts{kProgrammed}) << status;
    }
}

TEST(BlankCheck, ATimeOutCountsAsProgrammed) {
    InitializedChip chip(kLumoD);
    chip.host.flashloader.AnswerAll(kAnswerNever);

    EXPECT_EQ(chip.Execute("BlankCheck"), "");

    EXPECT_EQ(
        chip.host.messages,
        (Texts{"Target timed out! (Block 0)",
               "  Status 0xFFFFFFFF: Target flashloader has not returned any status. Unknown error!", kProgrammed}));
}

TEST(BlankCheck, OfAnUnknownSizeSendsNoCommand) {
    for (const std::uint32_t sectors : {0U, 1U, 31U, 44U, 128U}) {
        InitializedChip chip(kLumoD, sectors);
        EXPECT_EQ(chip.Execute("BlankCheck"), "Cannot perform Blank Check. Unknown Flash size!") << sectors;
        EXPECT_EQ(chip.host.flashloader.loads, 1U);
        EXPECT_EQ(chip.Commands(), Texts{});
        EXPECT_TRUE(chip.host.messages.empty());
    }
}

}  // namespace
}  // namespace flash::test
