// What happens at the edges of an operation and of a program load.
#include <gtest/gtest.h>

#include "tests/support/ConnectedChip.h"

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

constexpr std::int64_t kPhases[] = {0, 1, 2, 3, 0xFFFF'FFFF};

class Phases : public testing::Test {
protected:
    // The host calls and the commands of a small write.
    Texts Write(InitializedChip& on) {
        on.host.ForgetCalls();
        EXPECT_EQ(on.Write({0, {1, 2}}), "");
        Texts all = on.Calls();
        const Texts commands = on.Commands();
        all.insert(all.end(), commands.begin(), commands.end());
        return all;
    }
    InitializedChip chip{kLumoD};
    SimulatedHost& host = chip.host;
};

TEST_F(Phases, EachLetsTheNextWriteBeginLikeTheFirst) {
    for (const std::int64_t phase : kPhases) {
        InitializedChip other(kLumoD);
        other.SwitchOn("KeepCcfgSetting");
        other.SetErase(kBank);
        const Texts first = Write(other);
        EXPECT_NE(Write(other), first) << "CCFG, the bank's erase, the flashloader and the block's turn stand";

        EXPECT_EQ(other.Notify(phase), "");

        EXPECT_EQ(Write(other), first) << phase;
    }
}

TEST_F(Phases, EachForgetsThePagesToSkip) {
    for (const std::int64_t phase : kPhases) {
        chip.SkipSectors("0");
        EXPECT_EQ(Write(chip), Texts{});
        chip.SkipSectors("1");
        EXPECT_EQ(Write(chip), Texts{}) << "the list that was read first";

        EXPECT_EQ(chip.Notify(phase), "");

        Write(chip);
        EXPECT_EQ(chip.Commands(), Texts{Posted(3, 0, 2, 0)}) << phase;
        EXPECT_EQ(chip.Notify(phase), "");
    }
}

TEST_F(Phases, EachLeavesARetainedAddressAlone) {
    for (const std::int64_t phase : kPhases) {
        InitializedChip other(kLumoD);
        other.SwitchOn("RetainBleSecondaryAddr");
        const Bytes address = other.FlashAt(0x1'FFC8, 6);
        ASSERT_EQ(other.Notify(1), "");
        other.Property("RetainBleSecondaryAddr") = "0";
        other.host.memory.Fill(0x1'FFC8, 0, 6);

        EXPECT_EQ(other.Notify(phase), "");

        other.SwitchOn("RetainBleSecondaryAddr");
        EXPECT_EQ(other.Notify(2), "");
        EXPECT_EQ(other.FlashAt(0x1'FFC8, 6), address) << phase;
    }
}

TEST_F(Phases, OtherNumbersThan1And2CallNoHostService) {
    for (const std::int64_t phase : {0LL, 3LL, 4LL, 0xFFFF'FFFFLL}) {
        EXPECT_EQ(chip.Notify(phase), "");
    }
    EXPECT_TRUE(host.calls.empty());
}

TEST_F(Phases, Phase2TakesOnlyTheText1) {
    for (const char* option : kCcfgOptions) {
        chip.Property(option) = "true";
    }
    EXPECT_EQ(chip.Notify(2), "");
    EXPECT_EQ(chip.Calls(), Texts{"HaltTarget"});
}

TEST_F(Phases, Phase2StopsAskingAtTheFirstOptionThatIsOn) {
    for (std::size_t i = 0; i < std::size(kCcfgOptions); ++i) {
        InitializedChip other(kLumoD);
        other.host.properties.erase("WriteProtectionToggle");
        other.SwitchOn(kCcfgOptions[i]);
        other.host.failures.FailNth(Service::ReadMemory, 1);  // the first thing that the changes do
        EXPECT_EQ(other.Notify(2), simulation::kFailureText);
        Texts expected = {"HaltTarget"};
        for (std::size_t asked = 0; asked < i; ++asked) {
            expected.push_back(std::string("GetProperty ") + kCcfgOptions[asked]);
        }
        expected.insert(expected.end(), 3, std::string("GetProperty ") + kCcfgOptions[i]);
        expected.push_back("ReadMemory 0x0001F000 4096*1");
        EXPECT_EQ(TextsOf(other.host.calls), expected);
    }
}

TEST_F(Phases, AMissingProtectionToggleIsOffAtFirst) {
    host.properties.erase("WriteProtectionToggle");
    EXPECT_EQ(chip.Notify(2), "");
}

TEST_F(Phases, Phase2LoadsTheFlashloaderAfreshForItsChanges) {
    chip.SwitchOn("DisableBootloader");
    Write(chip);

    EXPECT_EQ(chip.Notify(2), "");

    EXPECT_EQ(host.flashloader.loads, 2U);
}

TEST_F(Phases, Phase2ResetsBeforeItChangesCcfg) {
    const Texts first = Write(chip);
    chip.SwitchOn("DisableCpuDap");
    host.failures.FailNth(Service::ReadMemory, 1);

    EXPECT_EQ(chip.Notify(2), simulation::kFailureText);

    EXPECT_EQ(Write(chip), first);
}

TEST_F(Phases, AFailingHaltComesBeforeEverything) {
    for (const std::int64_t phase : {1, 2}) {
        InitializedChip other(kLumoD);
        Write(other);
        other.SwitchOn("FlashVerboseMode");
        other.host.failures.FailNth(Service::HaltTarget, 1, "cannot halt");
        EXPECT_EQ(other.Notify(phase), "cannot halt");

        Write(other);
        EXPECT_EQ(other.host.flashloader.loads, 1U) << phase << ": the flashloader is still used";
        EXPECT_TRUE(other.host.messages.empty()) << "nor is the verbose switch read again";
    }
}

TEST_F(Phases, Phase1ReadsTheAddressesToRetainIeeeFirst) {
    chip.SwitchOn("RetainIeeeSecondaryAddr");
    chip.SwitchOn("RetainBleSecondaryAddr");

    EXPECT_EQ(chip.Notify(1), "");

    EXPECT_EQ(chip.Calls(), (Texts{"HaltTarget", "ReadMemory 0x0001FFC0 8*1", "ReadMemory 0x0001FFC8 6*1"}));
}

TEST_F(Phases, AFailingReadOfARetainedAddressResetsNothing) {
    Write(chip);
    chip.SwitchOn("RetainBleSecondaryAddr");
    host.failures.FailNth(Service::ReadMemory, 1, "lost");

    EXPECT_EQ(chip.Notify(1), "DoReadMacAddress(): Failed to read 6 bytes from 0x.\nError: lost");

    host.flashloader.Run();  // the phase has halted it
    Write(chip);
    EXPECT_EQ(chip.Commands(), Texts{Posted(3, 0, 2, 1)}) << "the other block's turn";
    EXPECT_EQ(host.flashloader.loads, 1U);
}

TEST_F(Phases, PageSkippingOverridesABankErase) {
    chip.SkipSectors("3");
    for (const char* setting : {kBank, "erase All Unprotected Sectors now"}) {
        chip.SetErase(setting);
        EXPECT_EQ(chip.Notify(1), "");
        EXPECT_EQ(chip.Property("FlashEraseSetting"), kNecessary) << setting;
        EXPECT_EQ(chip.Notify(2), "");
        EXPECT_EQ(chip.Property("FlashEraseSetting"), kNecessary) << "not restored";
    }
    EXPECT_TRUE(host.messages.empty());
}

TEST_F(Phases, TheOverrideIsToldInVerboseModeWhenItIsDone) {
    chip.SkipSectors("3");
    chip.SetErase(kBank);
    chip.SwitchOn("FlashVerboseMode");

    EXPECT_EQ(chip.Notify(1), "");

    EXPECT_EQ(chip.Calls(),
              (Texts{"HaltTarget", "PrintMessage Skip program/erase/verify of the following page(s): 3",
                     "SetProperty FlashEraseSetting=Necessary Sectors Only",
                     "PrintMessage Overriding erase option to \"Necessary Sectors Only\" because the Skip Sector "
                     "option is enabled\n"}));
}

TEST_F(Phases, OtherEraseSettingsAndLoadsWithoutPageSkippingKeepTheirs) {
    chip.SetErase(kBank);
    EXPECT_EQ(chip.Notify(1), "");

    chip.SkipSectors("3");
    for (const char* setting : {kSpecific, kNoErase, "", kRetain}) {
        chip.SetErase(setting);
        EXPECT_EQ(chip.Notify(1), "");
    }
    EXPECT_EQ(host.CountOf(Service::SetProperty), 0U);
}

TEST_F(Phases, Phase1NeedsThePageToggleAndItsSettings) {
    host.properties.erase("FlashPageToggle");
    EXPECT_EQ(chip.Notify(1), "Unknown property \"FlashPageToggle\"");

    chip.SkipSectors("99");
    EXPECT_EQ(chip.Notify(1), "Given page is out of range: \"99\"\nNote that the number of available pages is 32\n");

    chip.SkipSectors("9");
    host.properties.erase("FlashEraseSetting");
    EXPECT_EQ(chip.Notify(1), "Unknown property \"FlashEraseSetting\"");
}

}  // namespace
}  // namespace flash::test
