// Loading and starting the flashloader.
#include <gtest/gtest.h>

#include <stdexcept>

#include "tests/support/OpenTarget.h"

namespace flash::test {
namespace {

const Texts kLoadCalls = {"HaltTarget",
                          "GetProperty DeviceFlashloaderFile",
                          "GetProperty DeviceFlashloaderFile",
                          "GetDirectoryPath",
                          "LoadProgram flashloader.elf||C:\\debugger\\bin\\..\\..\\arm\\",
                          "LookUpSymbol ResetISR",
                          "WriteRegister 527=0x20000101",
                          "RunTarget",
                          "LookUpSymbol g_buf1",
                          "LookUpSymbol g_buf2",
                          "LookUpSymbol g_cfg"};

TEST(LoadFlashloader, GoesThroughItsStepsInOrder) {
    OpenLumoD target;

    EXPECT_TRUE(target.device.LoadFlashloader());

    EXPECT_EQ(TextsOf(target.host.calls), kLoadCalls);
    EXPECT_TRUE(target.device.flashloaderLoaded);
    EXPECT_EQ(target.device.bufferAddress, (std::array<std::uint32_t, 2>{0x2000'1000, 0x2000'2000}));
    EXPECT_EQ(target.device.commandBlockAddress, (std::array<std::uint32_t, 2>{0x2000'0200, 0x2000'0218}));
}

TEST(LoadFlashloader, ASecondTimeCallsNoHostService) {
    OpenLumoD target;
    target.LoadFlashloader();

    EXPECT_TRUE(target.device.LoadFlashloader());

    EXPECT_TRUE(target.host.calls.empty());
}

TEST(LoadFlashloader, StartsAgainAfterEachReset) {
    for (const std::uint32_t phase : {0U, 1U, 2U, 7U}) {
        OpenLumoD target;
        target.LoadFlashloader();
        target.device.OnFlashPhase(phase);
        target.host.ClearRecord();
        target.device.verboseState = 0;
        EXPECT_TRUE(target.device.LoadFlashloader());
        EXPECT_EQ(TextsOf(target.host.calls), kLoadCalls) << phase;
    }
}

TEST(LoadFlashloader, TellsTheFileInVerboseModeOnly) {
    OpenLumoD target;
    target.device.LoadFlashloader();
    EXPECT_TRUE(target.host.messages.empty());

    target.device.OnFlashPhase(0);
    target.SetVerbose();
    target.host.ClearRecord();
    target.device.LoadFlashloader();

    EXPECT_EQ(target.host.messages, Texts{"Loading flashloader to target: flashloader.elf\n"});
    const Texts calls = TextsOf(Without(target.host.calls, {Slot::GetProperty}));
    EXPECT_EQ(Texts(calls.begin(), calls.begin() + 4),
              (Texts{"HaltTarget", "GetDirectoryPath", "PrintMessage Loading flashloader to target: flashloader.elf\n",
                     "LoadProgram flashloader.elf||C:\\debugger\\bin\\..\\..\\arm\\"}));
}

TEST(LoadFlashloader, AddsToTheHostsDirectoryWithoutRepairingIt) {
    struct Case {
        std::optional<std::string> directory;
        const char* searched;
    };
    const Case cases[] = {
        {"C:\\dir\\", "C:\\dir\\..\\..\\arm\\"},
        {"C:\\dir", "C:\\dir..\\..\\arm\\"},
        {"", "..\\..\\arm\\"},
        {std::nullopt, "..\\..\\arm\\"},
    };
    for (const Case& each : cases) {
        OpenLumoD target;
        target.host.directory = each.directory;
        target.device.LoadFlashloader();
        EXPECT_EQ(TextsOf(Only(target.host.calls, {Slot::LoadProgram})),
                  Texts{std::string("LoadProgram flashloader.elf||") + each.searched});
    }
}

TEST(LoadFlashloader, KeepsTheLow32BitsOfSymbols) {
    OpenLumoD target;
    target.host.program = nullptr;  // so that loading defines no symbols of its own
    target.host.symbols = {{"ResetISR", 0xF'0000'0003},
                           {"g_buf1", 0x1'2000'0100},
                           {"g_buf2", 0xFFFF'FFFF'FFFF'FFFF},
                           {"g_cfg", 0x5'FFFF'FFF0}};

    target.device.LoadFlashloader();

    EXPECT_EQ(target.device.bufferAddress, (std::array<std::uint32_t, 2>{0x2000'0100, 0xFFFF'FFFF}));
    EXPECT_EQ(target.device.commandBlockAddress, (std::array<std::uint32_t, 2>{0xFFFF'FFF0, 8}));
}

TEST(LoadFlashloader, NeedsAFile) {
    OpenLumoD target;
    target.host.properties.erase("DeviceFlashloaderFile");

    EXPECT_EQ(ThrownText<std::logic_error>([&] { target.device.LoadFlashloader(); }),
              "Unknown property \"DeviceFlashloaderFile\"");

    EXPECT_EQ(target.host.CountOf(Slot::HaltTarget), 1U);
    EXPECT_FALSE(target.device.flashloaderLoaded);
}

TEST(LoadFlashloader, ExplainsAnImageThatCannotBeLoaded) {
    OpenLumoD target;
    target.host.FailNth(Slot::LoadProgram, 1, "file not found: 100%s");

    EXPECT_EQ(ThrownText<std::runtime_error>([&] { target.device.LoadFlashloader(); }),
              "Failed to write flashloader to device SRAM.");

    EXPECT_EQ(target.host.messages,
              Texts{"Failed to write flashloader to device SRAM.\nError: file not found: 100%s\n"});
    EXPECT_FALSE(target.device.flashloaderLoaded);
}

TEST(LoadFlashloader, TheTextOfAFailingPrintWins) {
    OpenLumoD target;
    target.host.FailNth(Slot::LoadProgram, 1, "file not found");
    target.host.FailNth(Slot::PrintMessage, 1, "no console");

    EXPECT_EQ(ThrownText<std::runtime_error>([&] { target.device.LoadFlashloader(); }), "no console");
}

TEST(LoadFlashloader, CountsAsLoadedFromTheStartOfTheImageOn) {
    struct Case {
        Slot slot;
        std::size_t n;
        bool isLoaded;
    };
    const Case cases[] = {
        {Slot::HaltTarget, 1, false},  {Slot::LookUpSymbol, 1, false}, {Slot::WriteRegister, 1, false},
        {Slot::RunTarget, 1, false},   {Slot::LookUpSymbol, 2, true},  {Slot::LookUpSymbol, 3, true},
        {Slot::LookUpSymbol, 4, true},
    };
    for (const Case& each : cases) {
        OpenLumoD target;
        target.host.FailNth(each.slot, each.n, kPlannedError);
        EXPECT_EQ(ThrownText<std::runtime_error>([&] { target.device.LoadFlashloader(); }), kPlannedError);
        EXPECT_TRUE(target.host.messages.empty());
        EXPECT_EQ(target.device.flashloaderLoaded, each.isLoaded) << SlotName(each.slot) << " " << each.n;

        target.host.ClearRecord();
        EXPECT_TRUE(target.device.LoadFlashloader());
        EXPECT_EQ(target.host.calls.empty(), each.isLoaded) << "not loaded again before the next reset";
    }
}

TEST(LoadFlashloader, EndsWithTheHostsTextWhateverElseFails) {
    SweepHostErrors(
        [](OpenLumoD& target) { target.SetVerbose(); }, [](OpenLumoD& target) { target.device.LoadFlashloader(); },
        [](Slot slot) -> std::string {
            return slot == Slot::LoadProgram ? "Failed to write flashloader to device SRAM." : kPlannedError;
        });
}

}  // namespace
}  // namespace flash::test
