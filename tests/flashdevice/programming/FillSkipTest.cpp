// Skipping pages of one value, and whether the plug-in looks at the data at all.
#include <gtest/gtest.h>

#include <stdexcept>

#include "tests/support/OpenTarget.h"

namespace flash::test {
namespace {

struct FillSkip : testing::Test {
    OpenLumoD target;
    OpenDor& device = target.device;
    FakeHost& host = target.host;
};

TEST_F(FillSkip, IsOffWithoutTheOption) {
    device.fillValue = 0x77;
    EXPECT_FALSE(device.FillSkipActive());
    for (const char* text : {"0", "true", "01", ""}) {
        host.properties["FlashPagesFilledWith"] = text;
        EXPECT_FALSE(device.FillSkipActive()) << text;
    }
    EXPECT_EQ(device.fillValue, 0x77);
}

TEST_F(FillSkip, ReadsTheValueAtEachTest) {
    host.properties["FlashPagesFilledWith"] = "1";
    EXPECT_TRUE(device.FillSkipActive());
    EXPECT_EQ(device.fillValue, 0xFF);

    host.properties["FlashPagesFilledWithValue"] = "0";
    EXPECT_TRUE(device.FillSkipActive());
    EXPECT_EQ(device.fillValue, 0);
}

TEST_F(FillSkip, NeedsAProperValue) {
    host.properties["FlashPagesFilledWith"] = "1";
    host.properties["FlashPagesFilledWithValue"] = "255";
    EXPECT_EQ(ThrownText<std::runtime_error>([&] { device.FillSkipActive(); }), "Invalid option was given \"255\".\n");

    host.properties.erase("FlashPagesFilledWithValue");
    EXPECT_EQ(ThrownText<std::logic_error>([&] { device.FillSkipActive(); }),
              "Unknown property \"FlashPagesFilledWithValue\"");
}

TEST_F(FillSkip, TheDeviceHandlesVerificationForAnyOptionThatExaminesTheData) {
    EXPECT_FALSE(device.HandlesVerification());
    for (const char* option : {"KeepCcfgSetting", "FlashPageToggle", "FlashPagesFilledWith", "CrcVerify"}) {
        OpenLumoD other;
        other.host.properties[option] = "1";
        EXPECT_TRUE(other.device.HandlesVerification()) << option;
        other.host.properties[option] = "true";
        other.device.sectorRanges.clear();
        EXPECT_FALSE(other.device.HandlesVerification()) << option;
    }
}

TEST_F(FillSkip, TheTestsForVerificationRunInOrderAndStopAtTheFirst) {
    host.properties["KeepCcfgSetting"] = "1";
    host.properties["FlashPageToggle"] = "1";
    host.properties["FlashPagesFilledWith"] = "1";
    host.properties["FlashPages"] = "bad";
    host.properties["FlashPagesFilledWithValue"] = "bad";
    EXPECT_TRUE(device.HandlesVerification());

    host.properties["KeepCcfgSetting"] = "0";
    EXPECT_EQ(ThrownText<std::runtime_error>([&] { device.HandlesVerification(); }),
              "Invalid option was given \"bad\".\n");

    host.properties["FlashPages"] = "1";
    EXPECT_TRUE(device.HandlesVerification());
    EXPECT_EQ(device.sectorRanges, (Texts{"0", "2-31"}));

    host.properties["FlashPageToggle"] = "0";
    host.properties["FlashPagesFilledWithValue"] = "zz";
    EXPECT_EQ(ThrownText<std::runtime_error>([&] { device.HandlesVerification(); }),
              "Option contains invalid characters: \"zz\".\n");
}

TEST_F(FillSkip, TheTestForVerificationNeedsThePageToggle) {
    host.properties.erase("FlashPageToggle");
    EXPECT_EQ(ThrownText<std::logic_error>([&] { device.HandlesVerification(); }),
              "Unknown property \"FlashPageToggle\"");

    host.properties["KeepCcfgSetting"] = "1";
    EXPECT_TRUE(device.HandlesVerification());
}

}  // namespace
}  // namespace flash::test
