// The device's wrappers: what each asks of the host, and that the host's error text comes through unchanged.
#include <gtest/gtest.h>

#include <array>
#include <functional>
#include <stdexcept>

#include "tests/support/OpenTarget.h"

namespace flash::test {
namespace {

struct Wrappers : testing::Test {
    FakeHost host;
    OpenDor device{"LumoD1K128", &host};
};

TEST_F(Wrappers, AskTheHostInItsOwnTerms) {
    std::array<std::uint8_t, 3> bytes = {1, 2, 3};

    device.ReadWord(0x4003'002C);
    device.ReadBytes(bytes.data(), bytes.data() + bytes.size(), 0x1FFD);
    device.WriteBytes(bytes.data(), bytes.data() + bytes.size(), 0xFFFF'FFF0);
    device.WriteProperty("Name", "value");
    device.Run();
    device.Halt();
    device.ReportErrorText("complaint");
    device.PrintFormatted("message");
    device.DirectoryPath();

    EXPECT_EQ(TextsOf(host.calls),
              (Texts{"ReadMemory 0x4003002C 1*4", "ReadMemory 0x00001FFD 3*1", "WriteMemory 0xFFFFFFF0 3*1",
                     "SetProperty Name=value", "RunTarget", "HaltTarget", "ReportError complaint",
                     "PrintMessage message", "GetDirectoryPath"}));
}

TEST_F(Wrappers, MoveTheBytes) {
    host.memory.SetWord(0x100, 0x1122'3344);
    const std::array<std::uint8_t, 2> written = {0xAA, 0xBB};
    std::array<std::uint8_t, 2> read = {};

    device.WriteBytes(written.data(), written.data() + written.size(), 0x200);
    device.ReadBytes(read.data(), read.data() + read.size(), 0x200);

    EXPECT_EQ(device.ReadWord(0x100), 0x1122'3344U);
    EXPECT_EQ(read, written);
}

TEST_F(Wrappers, TakeAValueThatTheHostDoesNotGiveForZero) {
    host.givesValues = false;

    EXPECT_EQ(device.ReadWord(0x4003'002C), 0U);
    EXPECT_EQ(device.LookUpSymbol("g_buf1"), 0U);
    EXPECT_EQ(device.ReadIdCode(), 0U);
}

TEST_F(Wrappers, DoNotCallTheHostForAnEmptyRange) {
    std::uint8_t byte = 0;

    device.ReadBytes(&byte, &byte, 0x100);
    device.WriteBytes(&byte, &byte, 0x100);
    device.ReadBytes(nullptr, nullptr, 0x100);

    EXPECT_TRUE(host.calls.empty());
}

TEST_F(Wrappers, ThrowTheHostsErrorTextUnchanged) {
    host.properties["Name"] = "value";
    std::uint8_t byte = 0;
    struct Case {
        Slot slot;
        std::function<void()> call;
    };
    const Case cases[] = {
        {Slot::ReadMemory, [&] { device.ReadWord(0); }},
        {Slot::ReadMemory, [&] { device.ReadBytes(&byte, &byte + 1, 0); }},
        {Slot::WriteMemory, [&] { device.WriteBytes(&byte, &byte + 1, 0); }},
        {Slot::SetProperty, [&] { device.WriteProperty("Name", "other"); }},
        {Slot::RunTarget, [&] { device.Run(); }},
        {Slot::HaltTarget, [&] { device.Halt(); }},
        {Slot::ReportError, [&] { device.ReportErrorText("complaint"); }},
        {Slot::PrintMessage, [&] { device.PrintFormatted("message"); }},
    };
    for (const Case& each : cases) {
        host.FailNth(each.slot, 1, kPlannedError);
        EXPECT_EQ(ThrownText<std::runtime_error>(each.call), kPlannedError) << SlotName(each.slot);
    }
}

TEST_F(Wrappers, TakeANullDirectoryAsEmpty) {
    EXPECT_EQ(device.DirectoryPath(), "C:\\debugger\\bin\\");
    host.directory.reset();
    EXPECT_EQ(device.DirectoryPath(), "");
}

TEST_F(Wrappers, AreOnOnlyForTheText1) {
    struct Case {
        const char* text;
        bool isOn;
    };
    const Case cases[] = {
        {"1", true}, {"true", false}, {"01", false}, {"1 ", false}, {" 1", false},
        {"", false}, {"0", false},    {"11", false}, {"2", false},  {"-1", false},
    };
    for (const Case& each : cases) {
        host.properties["Option"] = each.text;
        EXPECT_EQ(device.IsRequiredOptionOn("Option"), each.isOn) << each.text;
        EXPECT_EQ(device.IsOptionOn("Option"), each.isOn) << each.text;
    }
}

TEST_F(Wrappers, TellAMissingPropertyFromAMissingOption) {
    EXPECT_EQ(ThrownText<std::logic_error>([&] { device.ReadProperty("Option"); }), "Unknown property \"Option\"");
    EXPECT_EQ(ThrownText<std::logic_error>([&] { device.IsRequiredOptionOn("Option"); }),
              "Unknown property \"Option\"");
    EXPECT_FALSE(device.IsOptionOn("Option"));
}

TEST_F(Wrappers, ReadAnOptionAfterATestOfItsExistence) {
    host.properties["Option"] = "1";

    device.IsOptionOn("Option");

    EXPECT_EQ(TextsOf(host.calls), (Texts(3, "GetProperty Option")));
}

TEST_F(Wrappers, AnOptionThatVanishesWhileItIsReadIsAnError) {
    host.properties["Option"] = "1";
    host.HideProperty("Option", 2);

    EXPECT_EQ(ThrownText<std::logic_error>([&] { device.IsOptionOn("Option"); }), "Unknown property \"Option\"");
}

TEST_F(Wrappers, VerboseIsOffWithoutTheSettingAndReadOnce) {
    EXPECT_FALSE(device.IsVerbose());
    host.properties["FlashVerboseMode"] = "1";
    EXPECT_FALSE(device.IsVerbose());
    EXPECT_EQ(TextsOf(host.calls), (Texts{"GetProperty FlashVerboseMode"}));
}

TEST_F(Wrappers, VerboseIsReadAgainAfterPhases1And2Only) {
    host.properties = {{"FlashVerboseMode", "1"}, {"FlashPageToggle", "0"}};
    ASSERT_TRUE(device.IsVerbose());
    host.properties["FlashVerboseMode"] = "0";

    for (const std::uint32_t phase : {0U, 3U, 0xFFFF'FFFFU}) {
        device.OnFlashPhase(phase);
        EXPECT_TRUE(device.IsVerbose()) << phase;
    }
    device.OnFlashPhase(1);
    EXPECT_FALSE(device.IsVerbose());
    host.properties["FlashVerboseMode"] = "1";
    device.OnFlashPhase(2);
    EXPECT_TRUE(device.IsVerbose());
}

TEST_F(Wrappers, VerboseTakesOnlyTheText1) {
    for (const char* text : {"true", "01", "1 ", "0", ""}) {
        host.properties["FlashVerboseMode"] = text;
        device.verboseState = kVerboseUnread;
        EXPECT_FALSE(device.IsVerbose()) << text;
        EXPECT_EQ(device.verboseState, 0U);
    }
}

TEST_F(Wrappers, PrintMessagesOfAnyLengthWhole) {
    for (const std::size_t length : {0U, 1U, 510U, 511U, 512U, 513U, 1024U, 5000U}) {
        const std::string text(length, 'x');
        host.ClearRecord();
        device.PrintFormatted("%s", text.c_str());
        EXPECT_EQ(host.messages, Texts{text}) << length;
    }
}

TEST_F(Wrappers, PrintWithoutALineEndOfTheirOwn) {
    device.PrintFormatted("%d of 0x%04X", 7, 0xABU);
    EXPECT_EQ(host.messages, Texts{"7 of 0x00AB"});
}

TEST_F(Wrappers, PrintTheValuesOfAMessageAsTheyAre) {
    device.PrintFormatted("file %s", "100%n%s.elf");
    EXPECT_EQ(host.messages, Texts{"file 100%n%s.elf"});
}

TEST(DeviceWithoutHost, ExplainsItWhereTheHostIsNeeded) {
    OpenDor device("LumoD1K128", nullptr);

    for (const std::uint32_t phase : {1U, 2U}) {
        EXPECT_EQ(ThrownText<std::runtime_error>([&] { device.OnFlashPhase(phase); }),
                  "FlashUtil::GetFlashProgrammerUtility(): Pointer is NULL.");
    }
    EXPECT_EQ(ThrownText<std::runtime_error>([&] { device.Initialize(); }),
              "FlashUtil::GetFlashProgrammerUtility(): Pointer is NULL.");
}

}  // namespace
}  // namespace flash::test
