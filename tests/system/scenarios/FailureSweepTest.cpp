// Every host call of every scenario fails: once, and from then on. The error must be the right one and the operation
// must end there; the same work, done again as a careful host does it, must succeed and leave the flash and the
// settings of an undisturbed run.
#include <gtest/gtest.h>

#include <cstdio>
#include <random>

#include "tests/system/scenarios/FaultOutcome.h"
#include "tests/system/scenarios/RunSettings.h"
#include "tests/system/scenarios/Scenario.h"

namespace flash::test {
namespace {

// No two alike; with what would hurt a formatter, and sometimes longer than its buffer.
std::string RandomText(std::mt19937& random) {
    std::string text = "fault " + std::to_string(random()) + " 100%s %n%08X";
    if (random() % 5 == 0) {
        text += std::string(600, static_cast<char>('a' + random() % 26));
    }
    return text + (random() % 2 == 0 ? "\n" : "");
}

class FailureSweep : public testing::TestWithParam<Scenario> {
protected:
    const Scenario& scenario = GetParam();
    std::mt19937 random{SeedOfRun()};
    EndState undisturbed;

    static inline std::size_t scenarios = 0;
    static inline std::size_t faults = 0;

    static void TearDownTestSuite() {
        std::printf("failure sweep: %zu scenarios, %zu host calls made to fail in 2 modes: %zu faults\n", scenarios,
                    faults / 2, faults);
    }

    // The host calls of a run without faults.
    std::size_t CountCalls() {
        const std::unique_ptr<ConnectedChip> calm = Prepare(scenario);
        EXPECT_EQ(scenario.run(*calm), "");
        undisturbed = StateOf(*calm);
        const std::unique_ptr<ConnectedChip> chip = Prepare(scenario);
        EXPECT_EQ(RunUpset(*chip), scenario.upsetResult);
        return chip->host.calls.size();
    }

    std::string RunUpset(ConnectedChip& chip) {
        if (scenario.upset) {
            scenario.upset(chip.host.flashloader);
        }
        return scenario.run(chip);
    }

    void FailAndRepeat(std::size_t index, bool isLasting) {
        const Fault fault{index, isLasting, RandomText(random)};
        const std::unique_ptr<ConnectedChip> chip = Prepare(scenario);
        const Settings settings = chip->host.properties;
        const Bytes ccfg = chip->FlashAt(chip->FlashEnd() - kCcfgSize, kCcfgSize);
        if (Fail(*chip, fault)) {
            Repeat(*chip, settings, ccfg);
        }
    }

    // Whether the fault ended the run.
    bool Fail(ConnectedChip& chip, const Fault& fault) {
        SimulatedHost& host = chip.host;
        if (fault.isLasting) {
            host.failures.FailAllFrom(fault.index + 1, fault.text);
        } else {
            host.failures.FailNthOfAny(fault.index + 1, fault.text);
        }
        const std::string error = RunUpset(chip);
        host.failures.Clear();
        EXPECT_TRUE(host.failures.Last().has_value()) << "the planned fault did not strike";

        const FaultOutcome expected = ExpectedOutcome(fault, host.calls, scenario);
        EXPECT_EQ(error, expected.error.value_or(scenario.upsetResult));
        if (expected.error) {
            EXPECT_EQ(host.calls.size(), expected.calls) << "the operation ends there";
        }
        if (expected.detailedLine) {
            EXPECT_TRUE(!host.messages.empty() && host.messages.back() == *expected.detailedLine)
                << "expected line: " << *expected.detailedLine;
        }
        return expected.error.has_value();
    }

    void Repeat(ConnectedChip& chip, const Settings& settings, const Bytes& ccfg) {
        chip.host.flashloader.ForgetAnswers();
        if (scenario.KeepsCcfg()) {
            EXPECT_EQ(PutBackCcfg(chip, ccfg), "");
        }
        chip.host.properties = settings;
        EXPECT_EQ(scenario.run(chip), "");
        EXPECT_TRUE(StateOf(chip) == undisturbed) << "another flash or other settings than without the fault";
    }
};

TEST_P(FailureSweep, EachHostCallMayFailAndTheWorkBeRepeated) {
    const std::size_t calls = CountCalls();
    ASSERT_GT(calls, 0U);
    ++scenarios;
    for (std::size_t index = 0; index < calls; ++index) {
        for (const bool isLasting : {false, true}) {
            SCOPED_TRACE(testing::Message()
                         << "call " << index + 1 << " of " << calls << (isLasting ? " and all later ones" : ""));
            FailAndRepeat(index, isLasting);
            ++faults;
            if (HasFailure()) {
                return;
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Scenarios, FailureSweep, testing::ValuesIn(AllScenarios()),
                         [](const auto& scenario) { return scenario.param.name; });

}  // namespace
}  // namespace flash::test
