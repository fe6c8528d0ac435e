// Construction and start-up of a device.
#include <gtest/gtest.h>

#include "flashdevice/device/FlashDeviceLumoDor.h"
#include "tests/support/ConnectedChip.h"

namespace flash::test {
namespace {

TEST(NewDevice, CallsNoHostService) {
    const ConnectedChip chip(kLumoD);
    EXPECT_TRUE(chip.host.calls.empty());
}

TEST(NewDevice, SharesItsUtility) {
    SimulatedHost host;
    const FlashDeviceLumoDor device("LumoD1K128", "", "", &host);
    EXPECT_EQ(device.GetFlashUtil(), device.GetFlashUtil());
    EXPECT_EQ(&device.GetFlashUtil()->GetFlashProgrammerUtility(), &host);
}

TEST(Initialize, GoesThroughItsStepsInOrder) {
    ConnectedChip chip(kLumoD);

    EXPECT_EQ(chip.Initialize(), "");

    EXPECT_EQ(TextsOf(chip.host.calls),
              (Texts{"GetProperty FlashVerboseMode", "SelectCore Sluice", "ReadRegister 1", "SelectCore Cortex",
                     "GetProperty DeviceInfoRevisionTranslation", "GetProperty DeviceInfoRevisionTranslation",
                     "ReadMemory 0x4003002C 1*4", "ReadMemory 0x40082250 1*4",
                     "SetProperty DeviceInfoFlashSize=128 KB (32 sectors)", "SetProperty DeviceInfoRAMSize=20 KB",
                     "SetProperty DeviceInfoRevision=RevB (2.0)"}));
}

TEST(Initialize, MeasuresTheSecondGeneration) {
    ConnectedChip chip(kLumoF);

    EXPECT_EQ(chip.Initialize(), "");

    EXPECT_EQ(chip.Property("DeviceInfoFlashSize"), "352 KB (44 sectors)");
    EXPECT_EQ(chip.Property("DeviceInfoRAMSize"), kLumoF.ramSizeText);
}

TEST(Initialize, AnnouncesVerboseModeFirstAndEachTime) {
    ConnectedChip chip(kLumoD);
    chip.SwitchOn("FlashVerboseMode");

    EXPECT_EQ(chip.Initialize(), "");
    EXPECT_EQ(chip.Initialize(), "");

    EXPECT_EQ(chip.host.messages, Texts(2, "Flashloader: Verbose output enabled."));
    const Texts calls = chip.Calls();
    EXPECT_EQ(Texts(calls.begin(), calls.begin() + 2),
              (Texts{"PrintMessage Flashloader: Verbose output enabled.", "SelectCore Sluice"}));
}

TEST(Initialize, NeedsTheRevisionTable) {
    ConnectedChip chip(kLumoD);
    chip.host.properties.erase("DeviceInfoRevisionTranslation");

    EXPECT_EQ(chip.Initialize(), "Unknown property \"DeviceInfoRevisionTranslation\"");
}

}  // namespace
}  // namespace flash::test
