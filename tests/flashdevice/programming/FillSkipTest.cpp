// Skipping pages of one value, and whether the plug-in looks at the data at all.
#include <gtest/gtest.h>

#include "tests/support/ConnectedChip.h"

namespace flash::test {
namespace {

class FillSkip : public testing::Test {
protected:
    // Whether a page of this byte is programmed.
    bool IsProgrammed(std::uint8_t byte) {
        chip.host.ForgetCalls();
        EXPECT_EQ(chip.Write({0, Bytes(4096, byte)}), "");
        return !chip.host.flashloader.commands.empty();
    }

    InitializedChip chip{kLumoD};
};

TEST_F(FillSkip, IsOffWithoutTheOption) {
    EXPECT_TRUE(IsProgrammed(0));
    for (const char* text : {"0", "true", "01", ""}) {
        chip.Property("FlashPagesFilledWith") = text;
        EXPECT_TRUE(IsProgrammed(0)) << text;
    }
}

TEST_F(FillSkip, ReadsTheValueAtEachRequest) {
    chip.SwitchOn("FlashPagesFilledWith");
    chip.Property("FlashPagesFilledWithValue") = "0xFF";
    EXPECT_FALSE(IsProgrammed(0xFF));
    EXPECT_TRUE(IsProgrammed(0));

    chip.Property("FlashPagesFilledWithValue") = "0";
    EXPECT_FALSE(IsProgrammed(0));
    EXPECT_TRUE(IsProgrammed(0xFF));
}

TEST_F(FillSkip, NeedsAProperValue) {
    chip.SwitchOn("FlashPagesFilledWith");
    EXPECT_EQ(chip.HandlesVerification(), "Unknown property \"FlashPagesFilledWithValue\"");

    chip.Property("FlashPagesFilledWithValue") = "255";
    EXPECT_EQ(chip.HandlesVerification(), "Invalid option was given \"255\".\n");
}

TEST_F(FillSkip, TheDeviceHandlesVerificationForAnyOptionThatExaminesTheData) {
    EXPECT_EQ(chip.HandlesVerification(), "false");
    for (const char* option : {"KeepCcfgSetting", "FlashPageToggle", "FlashPagesFilledWith", "CrcVerify"}) {
        InitializedChip other(kLumoD);
        other.Property("FlashPagesFilledWithValue") = "1";
        other.SwitchOn(option);
        EXPECT_EQ(other.HandlesVerification(), "true") << option;
        other.Property(option) = "true";
        EXPECT_EQ(other.HandlesVerification(), "false") << option;
    }
}

TEST_F(FillSkip, TheTestsForVerificationRunInOrderAndStopAtTheFirst) {
    for (const char* option : {"KeepCcfgSetting", "FlashPageToggle", "FlashPagesFilledWith"}) {
        chip.SwitchOn(option);
    }
    chip.Property("FlashPages") = "bad";
    chip.Property("FlashPagesFilledWithValue") = "zz";
    EXPECT_EQ(chip.HandlesVerification(), "true");

    chip.Property("KeepCcfgSetting") = "0";
    EXPECT_EQ(chip.HandlesVerification(), "Invalid option was given \"bad\".\n");

    chip.Property("FlashPages") = "1";
    EXPECT_EQ(chip.HandlesVerification(), "true");

    chip.Property("FlashPageToggle") = "0";
    EXPECT_EQ(chip.HandlesVerification(), "Option contains invalid characters: \"zz\".\n");
}

TEST_F(FillSkip, TheTestForVerificationNeedsThePageToggle) {
    chip.host.properties.erase("FlashPageToggle");
    EXPECT_EQ(chip.HandlesVerification(), "Unknown property \"FlashPageToggle\"");

    chip.SwitchOn("KeepCcfgSetting");
    EXPECT_EQ(chip.HandlesVerification(), "true");
}

}  // namespace
}  // namespace flash::test
