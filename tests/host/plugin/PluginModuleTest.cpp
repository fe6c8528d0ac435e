// Loading modules that work, that do not, and that are no plug-ins; and devices whose factory fails in every way.
#include "host/plugin/PluginModule.h"

#include <gtest/gtest.h>

#include <fstream>
#include <functional>

#include "tests/host/support/Throws.h"
#include "validator/simulation/SimulatedHost.h"

namespace flash::host {
namespace {

using simulation::SimulatedHost;

TEST(PluginModule, RefusesWhatIsNoPluginNamingThePath) {
    const std::filesystem::path text = std::filesystem::path(testing::TempDir()) / "plugin.txt";
    std::ofstream(text) << "not a library";
    struct Case {
        const char* name;
        std::filesystem::path path;
        const char* expected;
    };
    const Case cases[] = {
        {"missing", "/nowhere/libflashdevice.so",
         "There is no plug-in at /nowhere/libflashdevice.so; give its path with \"plug-in\""},
        {"a folder", testing::TempDir(), "There is no plug-in at"},
        {"a text file", text, "Cannot load the plug-in"},
        {"another library", NO_FACTORY_MODULE, "is no flash plug-in: it does not export CreateFlashDevice2"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const std::string failure = FailureOf(FailureKind::Unreachable, [&] { const PluginModule module(c.path); });
        EXPECT_NE(failure.find(c.expected), std::string::npos) << failure;
    }
}

TEST(PluginDevice, AFactoryThatFailsInAnyWayIsExplained) {
    const PluginModule module(FAKE_PLUGIN_MODULE);
    struct Case {
        const char* behaviour;
        const char* expected;
    };
    const Case cases[] = {{"factory fails", "out of memory"},
                          {"factory throws", "it takes no such name, whose sixth character must be a digit"},
                          {"factory throws a number", "exception of unknown type"},
                          {"factory gives nothing", "reported success but gave none"}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.behaviour);
        SimulatedHost host;
        host.properties["FakeBehaviour"] = c.behaviour;
        const std::string failure =
            FailureOf(FailureKind::Unreachable, [&] { const PluginDevice device(module, "LumoF2", host); });
        EXPECT_NE(failure.find("cannot make a device for \"LumoF2\": "), std::string::npos) << failure;
        EXPECT_NE(failure.find(c.expected), std::string::npos) << failure;
    }
}

TEST(PluginDevice, TheRealModuleRefusesANameWithoutAGenerationThroughAnException) {
    const PluginModule module(REAL_PLUGIN_MODULE);
    SimulatedHost host;

    const std::string shortName =
        FailureOf(FailureKind::Unreachable, [&] { const PluginDevice device(module, "Lum", host); });
    const std::string noDigit =
        FailureOf(FailureKind::Unreachable, [&] { const PluginDevice device(module, "LumoFX", host); });

    for (const std::string& text : {shortName, noDigit}) {
        EXPECT_TRUE(text.ends_with(": it takes no such name, whose sixth character must be a digit")) << text;
    }
}

std::string PluginErrorOf(const char* behaviour, const std::function<void(PluginDevice&)>& work) {
    const PluginModule module(FAKE_PLUGIN_MODULE);
    SimulatedHost host;
    host.properties["FakeBehaviour"] = behaviour;
    PluginDevice device(module, "LumoD1", host);
    try {
        work(device);
    } catch (const PluginError& error) {
        return error.Answer().said.empty() ? error.what() : error.what() + (" (" + error.Answer().said + ")");
    }
    return "";
}

TEST(PluginDevice, ErrorsOfOperationsBecomeOneKindOfException) {
    const auto write = [](PluginDevice& device) {
        const std::uint8_t byte = 0;
        device.Write(&byte, 0, 1);
    };
    const auto initialize = [](PluginDevice& device) { device.Initialize(); };

    EXPECT_EQ(PluginErrorOf("", write), "");
    EXPECT_EQ(PluginErrorOf("Write throws", write), "the plug-in's Write let an exception out (thrown by Write)");
    EXPECT_EQ(PluginErrorOf("Write throws a number", write),
              "the plug-in's Write let an exception of unknown type out");
    EXPECT_EQ(PluginErrorOf("Write fails silently", write), "the plug-in failed without saying why");
    EXPECT_EQ(PluginErrorOf("Initialize fails", initialize),
              "the plug-in failed for a reason of its own (no chip answers)");
    EXPECT_EQ(PluginErrorOf("not ready", initialize), "the plug-in's device is not ready, although it says no error");
}

TEST(PluginDevice, AnswersArePassedOnAndTheDeviceIsReleased) {
    const PluginModule module(FAKE_PLUGIN_MODULE);
    SimulatedHost host;
    {
        PluginDevice device(module, "LumoD1", host);
        EXPECT_EQ(device.Initialize(), "Erase, BlankCheck");
        EXPECT_TRUE(device.IsRangeInFlash(0, 0x20000));
        EXPECT_FALSE(device.IsRangeInFlash(1, 0x20000));
        EXPECT_TRUE(device.HandlesVerification(0));
        EXPECT_TRUE(host.messages.empty());
    }

    EXPECT_EQ(host.messages, std::vector<std::string>{"released"});
}

}  // namespace
}  // namespace flash::host
