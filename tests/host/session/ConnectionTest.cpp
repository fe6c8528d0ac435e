// Connecting, step by step: what each step needs, and what is not tried any more when one fails.
#include "host/session/Connection.h"

#include <gtest/gtest.h>

#include "host/virtual_chip/VirtualChipProbe.h"
#include "tests/host/support/RecordingObserver.h"
#include "tests/host/support/Throws.h"

namespace flash::host {
namespace {

class Connecting : public testing::Test {
protected:
    Connecting() {
        request.openProbe = [this](const DeviceDescription& device) {
            opened = device.name;
            return std::make_unique<VirtualChipProbe>(std::make_shared<chip::VirtualChip>(VirtualChipSettings(device)));
        };
    }

    Connection Connect() { return Connection(request, observer, isInterrupted); }

    std::string opened;  // the part that a probe was opened for
    RecordingObserver observer;
    const std::atomic<bool> isInterrupted{false};
    ConnectionRequest request{"LumoD1F64", FLASH_DEVICES_FOLDER, HOST_DATA_FOLDER, REAL_PLUGIN_MODULE, {}, nullptr};
};

TEST_F(Connecting, GivesThePartThePluginTheProbeAndASession) {
    Connection connection = Connect();

    EXPECT_EQ(connection.Device().name, "LumoD1F64");
    EXPECT_EQ(connection.PartName(), "LumoD1F64");
    EXPECT_EQ(connection.Plugin().Path(), REAL_PLUGIN_MODULE);
    EXPECT_EQ(connection.GetProbe().Describe(), "a virtual LumoD with 64 KiB of flash");
    EXPECT_EQ(connection.GetSession().Info().flashText, "64 KB (16 sectors)");
}

TEST_F(Connecting, CompletesAnAbbreviation) {
    request.part = "lumof2";

    const Connection connection = Connect();

    EXPECT_EQ(opened, "LumoF2F352");
    EXPECT_EQ(connection.PartName(), "LumoF2F352");
}

TEST_F(Connecting, PropertiesGoBeforeThoseOfThePart) {
    request.properties = {{"DeviceFlashloaderFile", "none.elf"}};
    Connection connection = Connect();

    const std::string text = FailureOf(FailureKind::Operation, [&] { connection.GetSession().BlankCheck(); });
    EXPECT_TRUE(
        text.starts_with("Checking for blank flash: " HOST_DATA_FOLDER "/arm/none.elf: the file does not exist\n"))
        << text;
    EXPECT_NE(text.find("\nThe plug-in said: Failed to write flashloader to device SRAM."), std::string::npos) << text;
}

TEST_F(Connecting, SaysNothingThatIsMeantForProgrammers) {
    request.properties = {{"DeviceInfoRevisionTranslation", ""}};

    EXPECT_EQ(FailureOf(FailureKind::Unreachable, [&] { Connect(); }),
              "Cannot identify the chip (a virtual LumoD with 64 KiB of flash): the plug-in cannot use the value of a "
              "property, or what the chip answered. Is it powered, and its debug port enabled?");
}

TEST_F(Connecting, EndsAtTheFirstStepThatFails) {
    request.part = "LumoX9";
    request.plugin = "/nowhere/plugin.so";
    FailureOf(FailureKind::BadInput, [&] { Connect(); });

    request.part = "LumoD1F64";
    FailureOf(FailureKind::Unreachable, [&] { Connect(); });
    EXPECT_EQ(opened, "");

    request.plugin = FAKE_PLUGIN_MODULE;
    request.openProbe = [](const auto&) -> std::unique_ptr<Probe> { throw Failure(FailureKind::Unreachable, "gone"); };
    EXPECT_EQ(FailureOf(FailureKind::Unreachable, [&] { Connect(); }), "gone");
}

}  // namespace
}  // namespace flash::host
