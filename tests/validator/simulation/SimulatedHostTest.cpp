// The simulated host: what the validator's checks and the tests rely on without looking.
#include <gtest/gtest.h>

#include "validator/simulation/SimulatedHost.h"

namespace flash::simulation {
namespace {

TEST(SimulatedHost, SpoilsATextAtTheNextCall) {
    SimulatedHost host;
    host.properties["Name"] = "value";
    const char* text = host.GetProperty("Name");
    ASSERT_STREQ(text, "value");

    host.HaltTarget();

    EXPECT_STREQ(text, "#####");
}

TEST(SimulatedHost, TakesTheVeryTextThatItHandedOut) {
    SimulatedHost host;

    host.SetProperty("Copy", host.GetProperty("FlashEraseSetting"));

    EXPECT_EQ(host.properties["Copy"], "Necessary Sectors Only");
}

TEST(SimulatedHost, KnowsNoOtherProperty) { EXPECT_EQ(SimulatedHost().GetProperty("NoSuchProperty"), nullptr); }

TEST(SimulatedHost, AnswersAPlannedFailureAndDoesNothing) {
    SimulatedHost host;
    std::uint8_t byte = 0x5A;
    std::uint64_t value = 0x5A;
    struct Case {
        Service service;
        const char* error;
    };
    for (const Service service :
         {Service::SetProperty, Service::LoadProgram, Service::LookUpSymbol, Service::RunTarget, Service::HaltTarget,
          Service::ReadMemory, Service::WriteMemory, Service::ReadRegister, Service::WriteRegister,
          Service::ReportError, Service::PrintMessage, Service::WaitMilliseconds, Service::SelectCore}) {
        host.failures.FailEvery(service);
    }

    const Case cases[] = {
        {Service::SetProperty, host.SetProperty("Name", "value")},
        {Service::LoadProgram, host.LoadProgram("", "", "")},
        {Service::LookUpSymbol, host.LookUpSymbol("g_cfg", &value)},
        {Service::RunTarget, host.RunTarget()},
        {Service::HaltTarget, host.HaltTarget()},
        {Service::ReadMemory, host.ReadMemory(&byte, 1, 0, 1, 1)},
        {Service::WriteMemory, host.WriteMemory(&byte, 1, kBuffers[0], 1, 1)},
        {Service::ReadRegister, host.ReadRegister(1, &value)},
        {Service::WriteRegister, host.WriteRegister(527, kEntryPoint)},
        {Service::ReportError, host.ReportError("text")},
        {Service::PrintMessage, host.PrintMessage("text")},
        {Service::WaitMilliseconds, host.WaitMilliseconds(5)},
        {Service::SelectCore, host.SelectCore("Sluice")},
    };

    for (const Case& c : cases) {
        EXPECT_NE(c.error, nullptr) << NameOf(c.service);
        EXPECT_EQ(host.CountOf(c.service), 1U) << NameOf(c.service);
    }
    EXPECT_FALSE(host.properties.contains("Name"));
    EXPECT_EQ(host.flashloader.loads, 0U);
    EXPECT_FALSE(host.flashloader.isRunning);
    EXPECT_EQ(byte, 0x5A);
    EXPECT_EQ(value, 0x5AU);
    EXPECT_EQ(host.memory.Word(kBuffers[0]), 0U);
    EXPECT_TRUE(host.errors.empty() && host.messages.empty());
    EXPECT_EQ(host.route, "Cortex");
}

TEST(SimulatedHost, FailsWithNullWhereThereIsNoErrorText) {
    SimulatedHost host;
    host.failures.FailEvery(Service::GetProperty);
    host.failures.FailEvery(Service::GetDirectoryPath);

    EXPECT_EQ(host.GetProperty("FlashEraseSetting"), nullptr);
    EXPECT_EQ(host.GetDirectoryPath(), nullptr);
    host.failures.Clear();
    EXPECT_STREQ(host.GetDirectoryPath(), host.directory->c_str());
}

TEST(SimulatedHost, RefusesWhatIsNotThere) {
    SimulatedHost host;
    std::uint8_t byte = 0;
    std::uint64_t value = 0;

    EXPECT_STREQ(host.ReadMemory(&byte, 1, 0x2'0000, 1, 1), "nothing to read at 0x20000");
    EXPECT_STREQ(host.WriteMemory(&byte, 1, 0, 1, 1), "nothing to write at 0x0");
    EXPECT_STREQ(host.LookUpSymbol("g_nothing", &value), "no symbol g_nothing");
    EXPECT_STREQ(host.ReadRegister(1, &value), "no register 1 on route Cortex");
    host.SelectCore("Sluice");
    EXPECT_STREQ(host.ReadRegister(2, &value), "no register 2 on route Sluice");
}

TEST(SimulatedHost, RecordsEachCallWithItsArguments) {
    SimulatedHost host;
    std::uint32_t word = 0;
    host.ReadMemory(&word, 1, 0x4003'002C, 2, 4);
    host.WriteRegister(527, 0x1234);
    host.LoadProgram("file", "options", "folder");
    host.Reserved12();

    ASSERT_EQ(host.calls.size(), 4U);
    EXPECT_EQ(host.calls[0].ToText(), "ReadMemory \"\" \"\" \"\" 0x4003002C 0x4 0x4 0x2");
    EXPECT_EQ(host.calls[1].ToText(), "WriteRegister \"\" \"\" \"\" 0x0 0x20F 0x1234 0x0");
    EXPECT_EQ(host.calls[2].ToText(), "LoadProgram \"file\" \"options\" \"folder\" 0x0 0x0 0x0 0x0");
    EXPECT_EQ(host.calls[3].ToText(), "reserved slot \"\" \"\" \"\" 0x0 0xC 0x0 0x0");
}

}  // namespace
}  // namespace flash::simulation
