// Every allocation that the plug-in makes fails, from the factory to the release: once, and with all later ones. Each
// operation answers with a text, nothing crosses the edge, nothing leaks, and the work can be done again. And the plain
// way of programming allocates nothing per chunk.
#include <gtest/gtest.h>

#include <cstdio>

#include "tests/system/allocations/AllocationGate.h"
#include "tests/system/allocations/WatchedDevice.h"
#include "tests/system/scenarios/Scenario.h"

namespace flash::test {
namespace {

DevicePointer MakeWatched(const char* deviceName, IFlashHost* host) { return WatchedFactory{}.Make(deviceName, host); }

// Memory may run out where only a property's name is known to be unreadable.
bool IsAboutMemory(const std::string& error) {
    return error == "std::bad_alloc" || error.rfind("Failed to read property '", 0) == 0;
}

class AllocationFailure : public testing::TestWithParam<Scenario> {
protected:
    const Scenario& scenario = GetParam();
    EndState undisturbed;

    static inline std::size_t scenarios = 0;
    static inline std::size_t failures = 0;

    static void TearDownTestSuite() {
        std::printf("allocation failures: %zu scenarios, %zu failures\n", scenarios, failures);
    }

    std::size_t CountAllocations() {
        const std::size_t before = WatchedAllocations();
        const std::unique_ptr<ConnectedChip> chip = Prepare(scenario, MakeWatched);
        EXPECT_EQ(scenario.run(*chip), "");
        undisturbed = StateOf(*chip);
        chip->device.reset();
        return WatchedAllocations() - before;
    }

    void FailAndRepeat(std::size_t n, Shortage shortage) {
        Scenario uninitialized = scenario;
        uninitialized.startsUninitialized = true;
        WatchedFactory factory;
        FailAllocation(n, shortage);
        const std::unique_ptr<ConnectedChip> chip =
            Prepare(uninitialized, [&](const char* name, IFlashHost* host) { return factory.Make(name, host); });
        std::string error = factory.error;
        if (error.empty() && !scenario.startsUninitialized) {
            error = chip->Initialize();
        }
        Work(*chip, error);
        StopFailingAllocations();
        chip->device.reset();
    }

    // `error`: what has failed before.
    void Work(ConnectedChip& chip, std::string error) {
        const Settings settings = chip.host.properties;
        const Bytes ccfg = chip.FlashAt(chip.FlashEnd() - kCcfgSize, kCcfgSize);
        if (error.empty()) {
            error = scenario.run(chip);
        }
        StopFailingAllocations();
        EXPECT_TRUE(HasAllocationFailed());
        EXPECT_TRUE(IsAboutMemory(error)) << error;
        Repeat(chip, settings, ccfg);
    }

    void Repeat(ConnectedChip& chip, const Settings& settings, const Bytes& ccfg) {
        if (!scenario.startsUninitialized) {
            EXPECT_EQ(chip.Initialize(), "");
        }
        if (scenario.KeepsCcfg()) {
            EXPECT_EQ(PutBackCcfg(chip, ccfg), "");
        }
        for (const auto& [name, value] : settings) {
            chip.Property(name) = value;
        }
        EXPECT_EQ(scenario.run(chip), "");
        EXPECT_TRUE(StateOf(chip) == undisturbed) << "another flash or other settings than without the shortage";
    }
};

TEST_P(AllocationFailure, EachAllocationMayFailAndTheWorkBeRepeated) {
    const std::size_t allocations = CountAllocations();
    ASSERT_GT(allocations, 0U);
    ++scenarios;
    for (std::size_t n = 1; n <= allocations; ++n) {
        for (const Shortage shortage : {Shortage::Once, Shortage::Lasting}) {
            SCOPED_TRACE(testing::Message() << "allocation " << n << " of " << allocations
                                            << (shortage == Shortage::Once ? "" : " and all later ones"));
            FailAndRepeat(n, shortage);
            ++failures;
            if (HasFailure()) {
                return;
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Scenarios, AllocationFailure, testing::ValuesIn(AllScenarios()),
                         [](const auto& scenario) { return scenario.param.name; });

TEST(AllocationsPerChunk, AreNone) {
    for (const char* crcVerify : {"0", "1"}) {
        SCOPED_TRACE(crcVerify);
        ConnectedChip chip(kLumoD, 32, MakeWatched);
        chip.Property("CrcVerify") = crcVerify;
        ASSERT_EQ(chip.Initialize(), "");
        ASSERT_EQ(chip.Write({0, Pattern(4096, 1)}), "");
        const auto allocationsOf = [&](std::size_t chunks) {
            const std::size_t before = WatchedAllocations();
            EXPECT_EQ(chip.Write({0, Pattern(chunks * 4096, 1)}), "");
            return WatchedAllocations() - before;
        };

        EXPECT_EQ(allocationsOf(24), allocationsOf(1));
    }
}

TEST(Factory, KeepsAnErrorTextWithoutMemory) {
    SimulatedHost host;
    WatchedFactory factory;
    FailAllocation(1, Shortage::Lasting);

    const DevicePointer device = factory.Make(kLumoD.deviceName, &host);

    EXPECT_EQ(factory.error, "std::bad_alloc");
}

TEST(ErrorText, LongerThanItsPlaceIsCutWithoutMemory) {
    ConnectedChip chip(kLumoD, 32, MakeWatched);
    const std::string text(5000, 'x');
    chip.host.failures.FailNth(Service::HaltTarget, 1, text);
    FailAllocation(2, Shortage::Lasting);  // the exception has its text, the device has no room for it

    const std::string error = chip.Notify(1);

    StopFailingAllocations();
    EXPECT_TRUE(HasAllocationFailed());
    EXPECT_EQ(error.size(), 2048U);
    EXPECT_EQ(error, text.substr(0, error.size()));
}

}  // namespace
}  // namespace flash::test
