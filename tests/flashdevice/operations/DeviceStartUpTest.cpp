// Construction and start-up of a device.
#include <gtest/gtest.h>

#include <stdexcept>

#include "tests/support/OpenTarget.h"

namespace flash::test {
namespace {

const Texts kStartUpCalls = {
    "GetProperty FlashVerboseMode",
    "SelectCore Sluice",
    "ReadRegister 1",
    "SelectCore Cortex",
    "GetProperty DeviceInfoRevisionTranslation",
    "GetProperty DeviceInfoRevisionTranslation",
    "ReadMemory 0x4003002C 1*4",
    "ReadMemory 0x40082250 1*4",
    "SetProperty DeviceInfoFlashSize=128 KB (32 sectors)",
    "SetProperty DeviceInfoRAMSize=20 KB",
    "SetProperty DeviceInfoRevision=RevB (2.0)",
};

TEST(NewDevice, CallsNoHostService) {
    FakeHost host;
    const OpenDor device("LumoD1K128", &host);
    EXPECT_TRUE(host.calls.empty());
}

TEST(NewDevice, KnowsNothingOfTheChipYet) {
    FakeHost host;
    OpenDor device("LumoD1K128", &host);

    EXPECT_EQ(device.host, &host);
    EXPECT_EQ(device.deviceName, "LumoD1K128");
    EXPECT_EQ(device.revisionMajor, 0U);
    EXPECT_EQ(device.revisionMinor, 0U);
    EXPECT_EQ(device.revisionName, "-");
    EXPECT_EQ(device.flashSize, 0U);
    EXPECT_EQ(device.sectorCount, 0U);
    EXPECT_EQ(device.ramSize, 0U);
    EXPECT_EQ(device.ramTopSector, 0U);
    EXPECT_EQ(device.verboseState, 0xFFFF'FFFFU);
    EXPECT_EQ(device.writeProtectWords, (std::array<std::uint32_t, 2>{0xFFFF'FFFF, 0xFFFF'FFFF}));
    EXPECT_TRUE(device.revisionTranslation.empty());
    EXPECT_TRUE(device.macAddressCache.empty());
    EXPECT_TRUE(device.sectorRanges.empty());
}

TEST(NewDevice, HasNoFlashloaderAndHelpersOfItsOwn) {
    FakeHost host;
    OpenFen device("LumoF2K352", &host);

    EXPECT_FALSE(device.flashloaderLoaded);
    EXPECT_FALSE(device.bankEraseDone);
    EXPECT_EQ(device.currentBlock, 0U);
    EXPECT_EQ(device.bufferAddress, (std::array<std::uint32_t, 2>{0x2000'0000, 0x2000'0000}));
    EXPECT_EQ(device.commandBlockAddress, (std::array<std::uint32_t, 2>{0x2000'0000, 0x2000'0000}));
    ASSERT_NE(device.ccfgData, nullptr);
    EXPECT_EQ(device.ccfgData->address, 0U);
    EXPECT_TRUE(device.ccfgData->data.empty());
    ASSERT_NE(device.GetFlashUtil(), nullptr);
    EXPECT_EQ(&device.GetFlashUtil()->GetFlashProgrammerUtility(), &host);
    EXPECT_EQ(device.writeCommandProperties,
              (std::map<std::string, std::string>{{"WriteSecBle", "DeviceBleSecondary"},
                                                  {"WriteSecIeee", "DeviceIeeeSecondary"}}));
}

TEST(NewDevice, SharesItsUtilityByCopies) {
    FakeHost host;
    OpenDor device("LumoD1K128", &host);
    const std::shared_ptr<FlashUtil> copy = device.GetFlashUtil();
    EXPECT_EQ(copy, device.flashUtil);
    EXPECT_EQ(copy.use_count(), 2);
}

TEST(Initialize, GoesThroughItsStepsInOrder) {
    TestTarget target(kLumoD);
    OpenDor device(target.model.deviceName, &target.host);

    device.Initialize();

    EXPECT_EQ(TextsOf(target.host.calls), kStartUpCalls);
    EXPECT_EQ(device.flashSize, 0x2'0000U);
    EXPECT_EQ(device.ramSize, 0x5000U);
    EXPECT_EQ(device.ramTopSector, 0x4000U);
}

TEST(Initialize, MeasuresTheSecondGeneration) {
    TestTarget target(kLumoF);
    OpenFen device(target.model.deviceName, &target.host);

    device.Initialize();

    EXPECT_EQ(device.flashSize, 0x5'8000U);
    EXPECT_EQ(device.ramTopSector, 0x1'4000U - 0x2000U);
    EXPECT_EQ(target.host.properties["DeviceInfoFlashSize"], "352 KB (44 sectors)");
    EXPECT_EQ(target.host.properties["DeviceInfoRAMSize"], "80 KB");
}

TEST(Initialize, MayBeRepeated) {
    OpenLumoD target;

    target.device.Initialize();

    EXPECT_EQ(TextsOf(target.host.calls), Texts(kStartUpCalls.begin() + 1, kStartUpCalls.end()));
}

TEST(Initialize, AnnouncesVerboseModeFirstAndEachTime) {
    TestTarget target(kLumoD);
    target.host.properties["FlashVerboseMode"] = "1";
    OpenDor device(target.model.deviceName, &target.host);

    device.Initialize();
    device.Initialize();

    EXPECT_EQ(target.host.messages, Texts(2, "Flashloader: Verbose output enabled."));
    EXPECT_EQ(TextOf(target.host.calls.at(3)), "PrintMessage Flashloader: Verbose output enabled.");
    EXPECT_EQ(TextOf(target.host.calls.at(4)), "SelectCore Sluice");
}

TEST(Initialize, WrapsTheTopSectorOfARamSmallerThanASector) {
    TestTarget target(kLumoD);
    target.host.memory.SetWord(0x4008'2250, 0);
    target.host.routerRegisters[1] = 0;  // revision 1.0: 2 KB
    OpenDor device("LumoD1K32", &target.host);

    device.Initialize();

    EXPECT_EQ(device.ramSize, 0x800U);
    EXPECT_EQ(device.ramTopSector, 0xFFFF'F800U);
}

TEST(Initialize, EndsWithTheHostsTextWhateverFails) {
    SweepHostErrors([](OpenLumoD& target) { target.SetVerbose(); },
                    [](OpenLumoD& target) { target.device.Initialize(); });
}

TEST(Initialize, LeavesTheFlashUnmeasuredWhenItsRegisterCannotBeRead) {
    TestTarget target(kLumoD);
    OpenDor device(target.model.deviceName, &target.host);
    target.host.FailNth(Slot::ReadMemory, 1, kPlannedError);

    EXPECT_THROW(device.Initialize(), std::runtime_error);

    EXPECT_EQ(device.flashSize, 0U);
    EXPECT_EQ(device.MeasuredFlashSize(), 0x2'0000U);
}

TEST(Initialize, NeedsTheRevisionTable) {
    TestTarget target(kLumoD);
    target.host.properties.erase("DeviceInfoRevisionTranslation");
    OpenDor device(target.model.deviceName, &target.host);

    EXPECT_EQ(ThrownText<std::logic_error>([&] { device.Initialize(); }),
              "Unknown property \"DeviceInfoRevisionTranslation\"");
}

}  // namespace
}  // namespace flash::test
