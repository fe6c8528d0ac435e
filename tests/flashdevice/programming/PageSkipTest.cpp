// The option that excludes pages from programming.
#include <gtest/gtest.h>

#include <stdexcept>

#include "tests/support/OpenTarget.h"

namespace flash::test {
namespace {

struct PageSkip : testing::Test {
    void Skip(const std::string& pages) {
        host.properties["FlashPageToggle"] = "1";
        host.properties["FlashPages"] = pages;
    }

    OpenLumoD target;
    OpenDor& device = target.device;
    FakeHost& host = target.host;
};

TEST_F(PageSkip, IsOnOnlyForTheText1) {
    for (const char* text : {"0", "true", "01", "1 ", ""}) {
        host.properties["FlashPageToggle"] = text;
        EXPECT_FALSE(device.PageSkipActive()) << text;
    }
    EXPECT_TRUE(device.sectorRanges.empty());
    Skip("");
    EXPECT_TRUE(device.PageSkipActive());
}

TEST_F(PageSkip, NeedsTheToggleAndTheList) {
    host.properties.erase("FlashPageToggle");
    EXPECT_EQ(ThrownText<std::logic_error>([&] { device.PageSkipActive(); }), "Unknown property \"FlashPageToggle\"");

    host.properties["FlashPageToggle"] = "1";
    host.properties.erase("FlashPages");
    EXPECT_EQ(ThrownText<std::logic_error>([&] { device.PageSkipActive(); }), "Unknown property \"FlashPages\"");
}

TEST_F(PageSkip, BuildsThePermittedRangesOnce) {
    Skip("1, 3-5");

    EXPECT_TRUE(device.PageSkipActive());
    EXPECT_EQ(device.sectorRanges, (Texts{"0", "2", "6-31"}));
    EXPECT_EQ(TextsOf(host.calls), (Texts{"GetProperty FlashPageToggle", "GetProperty FlashPageToggle",
                                          "GetProperty FlashPages", "GetProperty FlashPages"}));

    host.properties["FlashPages"] = "7";
    host.ClearRecord();
    EXPECT_TRUE(device.PageSkipActive());
    EXPECT_EQ(device.sectorRanges, (Texts{"0", "2", "6-31"}));
    EXPECT_EQ(host.calls.size(), 2U);
}

TEST_F(PageSkip, TellsTheListAsItIsInVerboseModeOnly) {
    Skip("1, 3-5");
    device.PageSkipActive();
    EXPECT_TRUE(host.messages.empty());

    device.sectorRanges.clear();
    target.SetVerbose();
    device.PageSkipActive();
    device.PageSkipActive();

    EXPECT_EQ(host.messages, Texts{"Skip program/erase/verify of the following page(s): 1, 3-5"});
}

TEST_F(PageSkip, TellsAListWithPrintfCharactersOrOfAnyLength) {
    std::string list;
    for (int i = 0; i < 300; ++i) {
        list += " 1,";
    }
    Skip(list);
    target.SetVerbose();

    device.PageSkipActive();

    EXPECT_EQ(host.messages, Texts{"Skip program/erase/verify of the following page(s): " + list});
}

TEST_F(PageSkip, OfAllPagesIsBuiltAndToldAtEachTest) {
    Skip("0-31");
    target.SetVerbose();

    EXPECT_TRUE(device.PageSkipActive());
    EXPECT_TRUE(device.PageSkipActive());

    EXPECT_TRUE(device.sectorRanges.empty());
    EXPECT_EQ(host.messages, Texts(2, "Skip program/erase/verify of the following page(s): 0-31"));
}

TEST_F(PageSkip, KeepsNoPartOfABadList) {
    Skip("1,40");
    target.SetVerbose();

    EXPECT_EQ(ThrownText<std::runtime_error>([&] { device.PageSkipActive(); }),
              "Given page is out of range: \"40\"\nNote that the number of available pages is 32\n");

    EXPECT_TRUE(device.sectorRanges.empty());
    EXPECT_TRUE(host.messages.empty());
}

TEST_F(PageSkip, EndsWithTheHostsTextWhenTheListCannotBeTold) {
    Skip("1");
    target.SetVerbose();
    host.FailNth(Slot::PrintMessage, 1, kPlannedError);

    EXPECT_EQ(ThrownText<std::runtime_error>([&] { device.PageSkipActive(); }), kPlannedError);
}

TEST_F(PageSkip, ListsHaveOneFlagPerSectorOfTheChip) {
    host.properties["List"] = "0,33";
    OpenLumoF second;
    second.host.properties["List"] = "0,33";

    const std::vector<bool> pages = second.device.ParsePageList("List");

    EXPECT_EQ(pages.size(), 44U);
    EXPECT_FALSE(pages[33]);
    EXPECT_EQ(second.device.PageListToRanges("List", false), (Texts{"0", "33"}));
    EXPECT_EQ(second.device.PageListToRanges("List", true), (Texts{"1-32", "34-43"}));
    EXPECT_THROW(device.ParsePageList("List"), std::runtime_error);
    EXPECT_EQ(ThrownText<std::logic_error>([&] { device.ParsePageList("Missing"); }), "Unknown property \"Missing\"");
}

}  // namespace
}  // namespace flash::test
