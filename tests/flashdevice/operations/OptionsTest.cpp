// What happens at the edges of an operation and of a program load.
#include <gtest/gtest.h>

#include <stdexcept>

#include "tests/support/OpenTarget.h"

namespace flash::test {
namespace {

const char* const kCcfgOptions[] = {
    "RetainIeeeSecondaryAddr",
    "RetainBleSecondaryAddr",
    "OverrideBleSecondaryAddr",
    "OverrideIeeeSecondaryAddr",
    "WriteProtectionToggle",
    "DisableBootloader",
    "DisableCpuDap",
};

struct Phases : testing::Test {
    void DirtyState() {
        device.ccfgData->address = 1;
        device.ccfgData->lastSectorAddress = 2;
        device.ccfgData->data = {3};
        device.bankEraseDone = true;
        device.flashloaderLoaded = true;
        device.currentBlock = 1;
        device.sectorRanges = {"4"};
        device.macAddressCache["ReadSecBle"] = {5};
        device.writeProtectWords = {6, 7};
    }
    void ExpectReset() {
        EXPECT_EQ(device.ccfgData->address, 0U);
        EXPECT_EQ(device.ccfgData->lastSectorAddress, 0U);
        EXPECT_TRUE(device.ccfgData->data.empty());
        EXPECT_FALSE(device.bankEraseDone);
        EXPECT_FALSE(device.flashloaderLoaded);
        EXPECT_EQ(device.currentBlock, 0U);
        EXPECT_TRUE(device.sectorRanges.empty());
    }

    OpenLumoD target;
    OpenDor& device = target.device;
    FakeHost& host = target.host;
};

TEST_F(Phases, EveryPhaseDropsTheStateOfTheOperation) {
    for (const std::uint32_t phase : {0U, 1U, 2U, 3U, 0xFFFF'FFFFU}) {
        DirtyState();
        device.OnFlashPhase(phase);
        ExpectReset();
        EXPECT_EQ(device.macAddressCache["ReadSecBle"], (std::vector<std::uint8_t>{5})) << phase;
        EXPECT_EQ(device.writeProtectWords, (std::array<std::uint32_t, 2>{6, 7})) << phase;
    }
}

TEST_F(Phases, TheRecordOfTheKeptCcfgStaysTheSame) {
    const CcfgData* const record = device.ccfgData.get();
    device.OnFlashPhase(1);
    EXPECT_EQ(device.ccfgData.get(), record);
}

TEST_F(Phases, OtherNumbersThan1And2CallNoHostService) {
    for (const std::uint32_t phase : {0U, 3U, 4U, 0xFFFF'FFFFU}) {
        device.OnFlashPhase(phase);
    }
    EXPECT_TRUE(host.calls.empty());
}

TEST_F(Phases, Phase1WithoutOptionsHaltsAndAsksForThem) {
    device.OnFlashPhase(1);
    EXPECT_EQ(TextsOf(host.calls),
              (Texts{"HaltTarget", "GetProperty RetainIeeeSecondaryAddr", "GetProperty RetainBleSecondaryAddr",
                     "GetProperty FlashPageToggle", "GetProperty FlashPageToggle"}));
}

TEST_F(Phases, Phase2WithoutOptionsOnlyHaltsAndAsksForThem) {
    host.properties.erase("WriteProtectionToggle");
    device.OnFlashPhase(2);
    Texts expected = {"HaltTarget"};
    for (const char* option : kCcfgOptions) {
        expected.push_back(std::string("GetProperty ") + option);
    }
    EXPECT_EQ(TextsOf(host.calls), expected);
}

TEST_F(Phases, Phase2TakesOnlyTheText1) {
    for (const char* option : kCcfgOptions) {
        host.properties[option] = "true";
    }
    device.OnFlashPhase(2);
    EXPECT_TRUE(Without(host.calls, {Slot::GetProperty, Slot::HaltTarget}).empty());
    EXPECT_EQ(host.CountOf(Slot::HaltTarget), 1U);
}

TEST_F(Phases, Phase2StopsAskingAtTheFirstOptionThatIsOn) {
    for (std::size_t i = 0; i < std::size(kCcfgOptions); ++i) {
        OpenLumoD other;
        other.host.properties.erase("WriteProtectionToggle");
        other.host.properties[kCcfgOptions[i]] = "1";
        other.host.FailNth(Slot::ReadMemory, 1, kPlannedError);  // the first thing that the changes do
        EXPECT_EQ(ThrownText<std::runtime_error>([&] { other.device.OnFlashPhase(2); }), kPlannedError);
        Texts expected = {"HaltTarget"};
        for (std::size_t asked = 0; asked < i; ++asked) {
            expected.push_back(std::string("GetProperty ") + kCcfgOptions[asked]);
        }
        expected.insert(expected.end(), 3, std::string("GetProperty ") + kCcfgOptions[i]);
        expected.push_back("ReadMemory 0x0001F000 4096*1");
        EXPECT_EQ(TextsOf(other.host.calls), expected);
    }
}

TEST_F(Phases, Phase2ChangesCcfgAndHaltsAgain) {
    host.properties["DisableBootloader"] = "1";

    device.OnFlashPhase(2);

    const Texts calls = TextsOf(Without(host.calls, {Slot::GetProperty}));
    EXPECT_EQ(calls.front(), "HaltTarget");
    EXPECT_EQ(calls.at(1), "ReadMemory 0x0001F000 4096*1");
    EXPECT_EQ(calls.at(calls.size() - 2), "SetProperty FlashEraseSetting=Necessary Sectors Only");
    EXPECT_EQ(calls.back(), "HaltTarget");
    EXPECT_EQ(target.flashloader.loads, 1U) << "afresh, after the reset";
}

TEST_F(Phases, AMissingProtectionToggleIsOffAtFirstAndAnErrorAmongTheChanges) {
    host.properties.erase("WriteProtectionToggle");
    EXPECT_NO_THROW(device.OnFlashPhase(2));

    host.properties["DisableCpuDap"] = "1";
    EXPECT_EQ(ThrownText<std::logic_error>([&] { device.OnFlashPhase(2); }),
              "Unknown property \"WriteProtectionToggle\"");
}

TEST_F(Phases, Phase2ResetsBeforeItChangesCcfg) {
    DirtyState();
    host.properties["DisableCpuDap"] = "1";
    host.FailNth(Slot::ReadMemory, 1, kPlannedError);

    EXPECT_THROW(device.OnFlashPhase(2), std::runtime_error);

    ExpectReset();
}

TEST_F(Phases, AFailingHaltComesBeforeEverything) {
    for (const std::uint32_t phase : {1U, 2U}) {
        DirtyState();
        device.verboseState = 1;
        host.FailNth(Slot::HaltTarget, 1, "cannot halt");
        EXPECT_EQ(ThrownText<std::runtime_error>([&] { device.OnFlashPhase(phase); }), "cannot halt");
        EXPECT_TRUE(device.flashloaderLoaded) << phase;
        EXPECT_EQ(device.verboseState, 1U);
    }
}

TEST_F(Phases, Phase1ReadsTheAddressesToRetainIeeeFirst) {
    host.properties["RetainIeeeSecondaryAddr"] = "1";
    host.properties["RetainBleSecondaryAddr"] = "1";
    host.memory.SetBytes(0x1'FFC0, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14});

    device.OnFlashPhase(1);

    EXPECT_EQ(TextsOf(Without(host.calls, {Slot::GetProperty})),
              (Texts{"HaltTarget", "ReadMemory 0x0001FFC0 8*1", "ReadMemory 0x0001FFC8 6*1"}));
    EXPECT_EQ(device.macAddressCache["ReadSecIeee"], (std::vector<std::uint8_t>{1, 2, 3, 4, 5, 6, 7, 8}));
    EXPECT_EQ(device.macAddressCache["ReadSecBle"], (std::vector<std::uint8_t>{9, 10, 11, 12, 13, 14}));
}

TEST_F(Phases, AFailingReadOfARetainedAddressResetsNothing) {
    DirtyState();
    host.properties["RetainBleSecondaryAddr"] = "1";
    host.FailNth(Slot::ReadMemory, 1, "lost");

    EXPECT_EQ(ThrownText<std::runtime_error>([&] { device.OnFlashPhase(1); }),
              "DoReadMacAddress(): Failed to read 6 bytes from 0x.\nError: lost");

    EXPECT_TRUE(device.flashloaderLoaded);
    EXPECT_EQ(device.currentBlock, 1U);
    EXPECT_EQ(device.sectorRanges, Texts{"4"});
}

TEST_F(Phases, RetainedAddressesSurviveALoad) {
    host.properties["RetainIeeeSecondaryAddr"] = "1";
    host.properties["RetainBleSecondaryAddr"] = "1";
    host.memory.SetBytes(0x1'FFC0, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14});
    const std::vector<std::uint8_t> data(0x1000, 0x77);

    device.OnFlashPhase(1);
    device.ProgramData(data.data(), 0x1'F000, 0x1000);
    device.OnFlashPhase(2);

    EXPECT_EQ(host.memory.Bytes(0x1'FFBF, 16),
              (std::vector<std::uint8_t>{0x77, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 0x77}));
}

TEST_F(Phases, PageSkippingOverridesABankErase) {
    host.properties["FlashPageToggle"] = "1";
    host.properties["FlashPages"] = "3";
    for (const char* setting : {"All Unprotected Sectors", "erase All Unprotected Sectors now"}) {
        host.properties["FlashEraseSetting"] = setting;
        device.OnFlashPhase(1);
        EXPECT_EQ(host.properties["FlashEraseSetting"], "Necessary Sectors Only") << setting;
        EXPECT_EQ(device.GetEraseMode(), EraseMode::NecessarySectors);
        device.OnFlashPhase(2);
        EXPECT_EQ(host.properties["FlashEraseSetting"], "Necessary Sectors Only") << "not restored";
    }
    EXPECT_TRUE(host.messages.empty());
}

TEST_F(Phases, TheOverrideIsToldInVerboseModeOnly) {
    host.properties["FlashPageToggle"] = "1";
    host.properties["FlashPages"] = "3";
    host.properties["FlashEraseSetting"] = "All Unprotected Sectors";
    host.properties["FlashVerboseMode"] = "1";

    device.OnFlashPhase(1);

    EXPECT_EQ(host.messages,
              (Texts{"Skip program/erase/verify of the following page(s): 3",
                     "Overriding erase option to \"Necessary Sectors Only\" because the Skip Sector option is "
                     "enabled\n"}));
    EXPECT_TRUE(device.sectorRanges.empty()) << "dropped by the reset";
    const Texts calls = TextsOf(Only(host.calls, {Slot::SetProperty, Slot::PrintMessage}));
    ASSERT_EQ(calls.size(), 3U);
    EXPECT_EQ(calls[1], "SetProperty FlashEraseSetting=Necessary Sectors Only") << "told when it is done";
}

TEST_F(Phases, OtherEraseSettingsAndLoadsWithoutPageSkippingKeepTheirs) {
    host.properties["FlashEraseSetting"] = "All Unprotected Sectors";
    device.OnFlashPhase(1);
    EXPECT_EQ(device.GetEraseMode(), EraseMode::AllUnprotectedSectors);

    host.properties["FlashPageToggle"] = "1";
    for (const char* setting : {"Specific Sectors", "Do not erase sectors (program load only)", "",
                                "Necessary Sectors Only (Retain untouched content within sector)"}) {
        host.properties["FlashEraseSetting"] = setting;
        device.OnFlashPhase(1);
        EXPECT_EQ(host.properties["FlashEraseSetting"], setting);
    }
    EXPECT_EQ(host.CountOf(Slot::SetProperty), 0U);
}

TEST_F(Phases, Phase1NeedsThePageToggleAndItsSettings) {
    host.properties.erase("FlashPageToggle");
    EXPECT_EQ(ThrownText<std::logic_error>([&] { device.OnFlashPhase(1); }), "Unknown property \"FlashPageToggle\"");

    host.properties["FlashPageToggle"] = "1";
    host.properties["FlashPages"] = "99";
    EXPECT_EQ(ThrownText<std::runtime_error>([&] { device.OnFlashPhase(1); }),
              "Given page is out of range: \"99\"\nNote that the number of available pages is 32\n");

    host.properties["FlashPages"] = "9";
    host.properties.erase("FlashEraseSetting");
    EXPECT_EQ(ThrownText<std::logic_error>([&] { device.OnFlashPhase(1); }), "Unknown property \"FlashEraseSetting\"");
}

TEST(PhaseSweep, Phase1EndsWithTheHostsTextOrThatOfTheRead) {
    SweepHostErrors(
        [](OpenLumoD& target) {
            target.host.properties["FlashVerboseMode"] = "1";
            target.host.properties["RetainIeeeSecondaryAddr"] = "1";
            target.host.properties["FlashPageToggle"] = "1";
            target.host.properties["FlashPages"] = "3";
            target.host.properties["FlashEraseSetting"] = "All Unprotected Sectors";
        },
        [](OpenLumoD& target) { target.device.OnFlashPhase(1); },
        [](Slot slot) {
            const std::string error = kPlannedError;
            return slot == Slot::ReadMemory ? "DoReadMacAddress(): Failed to read 8 bytes from 0x.\nError: " + error
                                            : error;
        });
}

TEST(PhaseSweep, Phase2EndsWithTheHostsTextOrThatOfTheStep) {
    std::size_t writes = 0;
    SweepHostErrors([](OpenLumoD& target) { target.host.properties["DisableBootloader"] = "1"; },
                    [](OpenLumoD& target) { target.device.OnFlashPhase(2); },
                    [&](Slot slot) -> std::string {
                        switch (slot) {
                            case Slot::LoadProgram:
                                return "Failed to write flashloader to device SRAM.";
                            case Slot::WriteMemory:
                                return writes++ == 0 ? "Failed to write data to temporary buffer in RAM before "
                                                       "programming device FLASH memory."
                                                     : "Failed to write configuration block to target.";
                            default:
                                return kPlannedError;
                        }
                    });
}

}  // namespace
}  // namespace flash::test
