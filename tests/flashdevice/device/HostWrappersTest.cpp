// The device's way to its host: what it makes of settings, of missing values and of a missing host.
#include <gtest/gtest.h>

#include "flashdevice/device/FlashDeviceLumoDor.h"
#include "tests/support/ConnectedChip.h"
#include "tests/support/StubHost.h"

namespace flash::test {
namespace {

constexpr char kAnnouncement[] = "Flashloader: Verbose output enabled.";

// Says success and leaves the places for values as they are.
class MuteHost final : public StubHost {
public:
    const char* GetProperty(const char* name) override {
        const std::string property = name;
        return property == "DeviceInfoRevisionTranslation" ? "0:3.1:RevZ"
               : property == "DeviceFlashloaderFile"       ? "flashloader.out"
                                                           : nullptr;
    }
    const char* SetProperty(const char*, const char* value) override {
        published.emplace_back(value);
        return nullptr;
    }

    const char* WriteMemory(const void*, std::size_t, std::uint64_t address, std::uint16_t, std::size_t) override {
        written = address;
        return nullptr;
    }

    Texts published;
    std::uint64_t written = ~0ULL;  // last
};

TEST(HostThatGivesNoValues, CountsAsGivingZeros) {
    MuteHost host;
    const DevicePointer device = MakeDevice("LumoD1", &host);
    bool ready = false;
    const char* operations = nullptr;

    EXPECT_STREQ(device->Initialize(&ready, &operations), nullptr);

    EXPECT_EQ(host.published, (Texts{"0 KB (0 sectors)", "4 KB", "RevZ (3.1)"}));
}

TEST(HostThatGivesNoSymbols, HasThemAtZero) {
    MuteHost host;
    TestDevice device(MakeDevice("LumoD1", &host));

    EXPECT_EQ(device.Execute("Erase"), "");

    EXPECT_EQ(host.written, 0U) << "where the block is";
}

// Tests may call its wrappers that no operation calls so: none writes nothing, and what is reported never happens.
class CallableWrappers : public FlashDeviceLumoDor {
public:
    explicit CallableWrappers(IFlashHost* flashHost) : FlashDeviceLumoDor("LumoD1", "", "", flashHost) {}
    using FlashDeviceLumoDor::ReportErrorText;
    using FlashDeviceLumoDor::WriteBytes;
};

TEST(Writing, NothingDoesNotCallTheHost) {
    SimulatedHost host;
    const std::uint8_t byte = 0;

    CallableWrappers(&host).WriteBytes(&byte, &byte, 0x2000'0000);

    EXPECT_TRUE(host.calls.empty());
}

TEST(Reporting, AnErrorReachesTheUser) {
    SimulatedHost host;

    CallableWrappers(&host).ReportErrorText("complaint");

    EXPECT_EQ(host.errors, Texts{"complaint"});
}

TEST(Options, AreOnOnlyForTheText1) {
    struct Case {
        const char* text;
        const char* isOn;
    };
    const Case cases[] = {
        {"1", "true"}, {"true", "false"}, {"01", "false"}, {"1 ", "false"}, {" 1", "false"},
        {"", "false"}, {"0", "false"},    {"11", "false"}, {"2", "false"},  {"-1", "false"},
    };
    for (const char* option : {"CrcVerify", "FlashPageToggle"}) {
        for (const Case& each : cases) {
            InitializedChip chip(kLumoD);
            chip.Property(option) = each.text;
            EXPECT_EQ(chip.HandlesVerification(), each.isOn) << option << " " << each.text;
        }
    }
}

TEST(Options, ThatVanishWhileTheyAreReadAreAnError) {
    for (const std::size_t reading : {2U, 3U}) {
        InitializedChip chip(kLumoD);
        chip.SwitchOn("CrcVerify");
        chip.host.failures.HideProperty("CrcVerify", reading);
        EXPECT_EQ(chip.HandlesVerification(), "Unknown property \"CrcVerify\"") << reading;
    }
}

TEST(VerboseMode, IsOnOnlyForTheText1) {
    for (const char* text : {"1", "true", "01", "1 ", "0", ""}) {
        ConnectedChip chip(kLumoD);
        chip.Property("FlashVerboseMode") = text;
        EXPECT_EQ(chip.Initialize(), "");
        EXPECT_EQ(chip.host.messages, std::string(text) == "1" ? Texts{kAnnouncement} : Texts{}) << text;
    }
}

TEST(VerboseMode, IsReadAgainAfterPhases1And2Only) {
    ConnectedChip chip(kLumoD);
    const auto isVerbose = [&] {
        chip.host.ForgetCalls();
        EXPECT_EQ(chip.Initialize(), "");
        return !chip.host.messages.empty();
    };
    EXPECT_FALSE(isVerbose());
    chip.Property("FlashVerboseMode") = "1";
    EXPECT_FALSE(isVerbose());

    for (const std::int64_t phase : {0LL, 3LL, 0xFFFF'FFFFLL}) {
        EXPECT_EQ(chip.Notify(phase), "");
        EXPECT_FALSE(isVerbose()) << phase;
    }
    EXPECT_EQ(chip.Notify(1), "");
    EXPECT_TRUE(isVerbose());
    chip.host.properties.erase("FlashVerboseMode");
    EXPECT_EQ(chip.Notify(2), "");
    EXPECT_FALSE(isVerbose());
}

TEST(DeviceWithoutHost, ExplainsItWhereTheHostIsNeeded) {
    constexpr char kNoProgrammer[] = "FlashUtil::GetFlashProgrammerUtility(): Pointer is NULL.";
    TestDevice device(MakeDevice("LumoD1", nullptr));

    EXPECT_EQ(device.Notify(0), "");
    EXPECT_EQ(device.Notify(1), kNoProgrammer);
    EXPECT_EQ(device.Notify(2), kNoProgrammer);
    EXPECT_EQ(device.Initialize(), kNoProgrammer);
}

}  // namespace
}  // namespace flash::test
