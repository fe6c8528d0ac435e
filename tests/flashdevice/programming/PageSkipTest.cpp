// The option that excludes pages from programming.
#include <gtest/gtest.h>

#include "tests/support/ConnectedChip.h"

namespace flash::test {
namespace {

class PageSkip : public testing::Test {
protected:
    InitializedChip chip{kLumoD};
    SimulatedHost& host = chip.host;
};

TEST_F(PageSkip, IsOnOnlyForTheText1) {
    host.properties.erase("FlashPages");  // not even read
    for (const char* text : {"0", "true", "01", "1 ", ""}) {
        chip.Property("FlashPageToggle") = text;
        EXPECT_EQ(chip.HandlesVerification(), "false") << text;
    }
    chip.SkipSectors("");
    EXPECT_EQ(chip.HandlesVerification(), "true");
}

TEST_F(PageSkip, NeedsTheToggleAndTheList) {
    host.properties.erase("FlashPageToggle");
    EXPECT_EQ(chip.Write({0, {1}}), "Unknown property \"FlashPageToggle\"");

    chip.SkipSectors("");
    host.properties.erase("FlashPages");
    EXPECT_EQ(chip.Write({0, {1}}), "Unknown property \"FlashPages\"");
}

TEST_F(PageSkip, BuildsThePermittedRangesOnce) {
    chip.SkipSectors("1, 3-5");
    EXPECT_EQ(chip.HandlesVerification(), "true");
    chip.Property("FlashPages") = "7";
    host.ForgetCalls();

    EXPECT_EQ(chip.HandlesVerification(), "true");
    EXPECT_EQ(chip.Write({0, Pattern(0x8000, 1)}), "");

    EXPECT_EQ(chip.Commands(), (Texts{Posted(3, 0, 4096, 0), Posted(3, 0x2000, 4096, 1), Posted(3, 0x6000, 4096, 0),
                                      Posted(3, 0x7000, 4096, 1)}));
}

TEST_F(PageSkip, TellsTheListAsItIsAndOnce) {
    std::string list = "1, 3-5";
    for (int i = 0; i < 300; ++i) {
        list += ", 1";
    }
    chip.SkipSectors(list);
    ASSERT_EQ(chip.HandlesVerification(), "true");
    EXPECT_TRUE(host.messages.empty());

    chip.StartVerbosely();
    ASSERT_EQ(chip.HandlesVerification(), "true");
    ASSERT_EQ(chip.HandlesVerification(), "true");

    EXPECT_EQ(host.messages, Texts{"Skip program/erase/verify of the following page(s): " + list});
}

TEST_F(PageSkip, OfAllPagesIsBuiltAndToldAtEachTest) {
    chip.SkipSectors("0-31");
    chip.StartVerbosely();

    EXPECT_EQ(chip.HandlesVerification(), "true");
    EXPECT_EQ(chip.HandlesVerification(), "true");

    EXPECT_EQ(host.messages, Texts(2, "Skip program/erase/verify of the following page(s): 0-31"));
}

TEST_F(PageSkip, KeepsNoPartOfABadList) {
    chip.SkipSectors("1,40");
    chip.SwitchOn("FlashVerboseMode");

    EXPECT_EQ(chip.HandlesVerification(),
              "Given page is out of range: \"40\"\nNote that the number of available pages is 32\n");

    EXPECT_TRUE(host.messages.empty());
    chip.SkipSectors("0");
    ASSERT_EQ(chip.Write({0x1000, {1}}), "");
    EXPECT_EQ(host.flashloader.commands.size(), 1U) << "page 1 is permitted";
}

TEST_F(PageSkip, ListsHaveOneFlagPerSectorOfTheChip) {
    InitializedChip second(kLumoF);
    second.Property("StandaloneEraseSpecificText") = "0,43";
    EXPECT_EQ(second.Execute("EraseSectors"), "");
    EXPECT_EQ(second.Commands(), (Texts{Posted(5, 0, 8191, 0), Posted(5, 0x5'6000, 8191, 1)}));

    second.Property("StandaloneEraseSpecificText") = "44";
    EXPECT_EQ(second.Execute("EraseSectors"),
              "Given page is out of range: \"44\"\nNote that the number of available pages is 44\n");
}

}  // namespace
}  // namespace flash::test
