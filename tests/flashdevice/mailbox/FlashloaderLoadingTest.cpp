// Loading and starting the flashloader, by a request that has no data: it does nothing else but one look at a status.
#include <gtest/gtest.h>

#include <algorithm>
#include <optional>

#include "tests/support/ConnectedChip.h"

namespace flash::test {
namespace {

const Segment kNoData{0, {}};

constexpr char kLookAtStatus[] = "ReadMemory 0x20000228 1*4";

Texts LoadAndLook() {
    Texts calls = kLoadCalls;
    calls.push_back(kLookAtStatus);
    return calls;
}

class LoadFlashloader : public testing::Test {
protected:
    InitializedChip chip{kLumoD};
    SimulatedHost& host = chip.host;
};

TEST_F(LoadFlashloader, GoesThroughItsStepsInOrderAndOnce) {
    ASSERT_EQ(chip.Write(kNoData), "");
    EXPECT_EQ(chip.Calls(), LoadAndLook());

    host.ForgetCalls();
    ASSERT_EQ(chip.Write(kNoData), "");
    EXPECT_EQ(chip.Calls(), Texts{kLookAtStatus});
}

TEST_F(LoadFlashloader, StartsAgainAfterEachReset) {
    for (const std::int64_t phase : {0, 1, 2, 7}) {
        chip.LoadFlashloader();
        ASSERT_EQ(chip.Notify(phase), "");
        host.ForgetCalls();
        EXPECT_EQ(chip.Write(kNoData), "");
        EXPECT_EQ(chip.Calls(), LoadAndLook()) << phase;
    }
}

TEST_F(LoadFlashloader, TellsTheFileInVerboseMode) {
    chip.StartVerbosely();

    ASSERT_EQ(chip.Write(kNoData), "");

    Texts expected = LoadAndLook();
    expected.insert(std::find(expected.begin(), expected.end(), kLoadCalls[2]),
                    "PrintMessage Loading flashloader to target: flashloader.out\n");
    EXPECT_EQ(chip.Calls(), expected);
}

TEST_F(LoadFlashloader, AddsToTheHostsDirectoryWithoutRepairingIt) {
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
        ASSERT_EQ(chip.Notify(0), "");
        host.directory = each.directory;
        host.ForgetCalls();
        ASSERT_EQ(chip.Write(kNoData), "");
        EXPECT_EQ(TextsOf(host.CallsOf(Service::LoadProgram)),
                  Texts{std::string("LoadProgram flashloader.out||") + each.searched});
    }
}

TEST_F(LoadFlashloader, KeepsTheLow32BitsOfSymbols) {
    for (auto& [name, address] : host.symbols) {
        address += 0xF'0000'0000;
    }

    EXPECT_EQ(chip.Write({0, Pattern(5000, 1)}), "");

    EXPECT_EQ(chip.FlashAt(0, 5000), Pattern(5000, 1));
}

TEST_F(LoadFlashloader, NeedsAFile) {
    host.properties.erase("DeviceFlashloaderFile");

    EXPECT_EQ(chip.Write(kNoData), "Unknown property \"DeviceFlashloaderFile\"");

    EXPECT_EQ(chip.Calls(), Texts{"HaltTarget"});
}

TEST_F(LoadFlashloader, ExplainsAnImageThatCannotBeLoaded) {
    host.failures.FailNth(Service::LoadProgram, 1, "file not found: 100%s");

    EXPECT_EQ(chip.Write(kNoData), "Failed to write flashloader to device SRAM.");

    EXPECT_EQ(host.messages, Texts{"Failed to write flashloader to device SRAM.\nError: file not found: 100%s\n"});
}

TEST_F(LoadFlashloader, TheTextOfAFailingPrintWins) {
    host.failures.FailNth(Service::LoadProgram, 1, "file not found");
    host.failures.FailNth(Service::PrintMessage, 1, "no console");

    EXPECT_EQ(chip.Write(kNoData), "no console");
}

TEST_F(LoadFlashloader, CountsAsDoneFromTheStartOfTheImageOn) {
    struct Case {
        Service service;
        std::size_t n;
        bool isDone;
    };
    const Case cases[] = {
        {Service::HaltTarget, 1, false},    {Service::LoadProgram, 1, false}, {Service::LookUpSymbol, 1, false},
        {Service::WriteRegister, 1, false}, {Service::RunTarget, 1, false},   {Service::LookUpSymbol, 2, true},
        {Service::LookUpSymbol, 3, true},   {Service::LookUpSymbol, 4, true},
    };
    for (const Case& each : cases) {
        ASSERT_EQ(chip.Notify(0), "");
        host.failures.FailNth(each.service, each.n, "lost");
        EXPECT_NE(chip.Write(kNoData), "");

        host.ForgetCalls();
        EXPECT_EQ(chip.Write(kNoData), "");
        EXPECT_EQ(host.CountOf(Service::LoadProgram), each.isDone ? 0U : 1U) << NameOf(each.service) << " " << each.n;
    }
}

}  // namespace
}  // namespace flash::test
