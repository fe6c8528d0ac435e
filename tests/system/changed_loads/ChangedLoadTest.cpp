// Random loads of what changed against the same with every sector written, on twins: flash must be the same, and what
// was right must not be touched. Then with something that fails on the way, and the same load again.
#include <gtest/gtest.h>

#include <cstdio>
#include <optional>

#include "host/Failure.h"
#include "tests/host/files/TemporaryFolder.h"
#include "tests/support/LongForm.h"
#include "tests/system/changed_loads/RandomWork.h"

namespace flash::host {
namespace {

constexpr std::uint32_t kSeed = 16;
constexpr std::uint32_t kShortRounds = 10;
constexpr std::uint32_t kLongRounds = 500;

std::uint32_t Rounds() { return test::IsLongForm() ? kLongRounds : kShortRounds; }

// What came of a load.
struct Outcome {
    std::optional<PlannedLoad> load;  // missing when it was refused
    std::string failure;              // "" for success
};

Outcome Try(Bench& bench, const Work& work, WriteChoice write) {
    Outcome outcome;
    try {
        ProgramOptions options = work.options;
        options.write = write;
        outcome.load = bench.Connect().Plan(work.image, options);
        bench.session->Program(*outcome.load);
    } catch (const Failure& failure) {
        outcome.failure = failure.what();
        EXPECT_NE(outcome.failure, "");
    }
    return outcome;
}

std::vector<std::uint8_t> AllOfFlash(Bench& bench) { return bench.Flash(0, bench.device.FlashSizeBytes()); }

class RandomChangedLoad : public testing::TestWithParam<const char*> {
protected:
    // Whether there is something to compare: not every random work can be done.
    bool CompareWithAll(const Work& work) {
        MakeChip(whole, work.before);
        MakeChip(changed, work.before);
        const Outcome all = Try(whole, work, WriteChoice::All);
        const Outcome some = Try(changed, work, WriteChoice::Changed);
        EXPECT_EQ(some.failure, all.failure);
        EXPECT_TRUE(AllOfFlash(changed) == AllOfFlash(whole)) << "flash is not what writing all leaves";
        EXPECT_EQ(changed.Chip().ViolationTotal(), whole.Chip().ViolationTotal());
        if (some.failure.empty() && !work.options.closing.IsAny()) {
            ExpectRightOnesUntouched(*some.load);
        }
        return some.failure.empty();
    }

    void ExpectRightOnesUntouched(const PlannedLoad& load) {
        const std::vector<std::uint64_t>& erases = changed.Chip().GetCounters().sectorErases;
        for (std::uint32_t sector = 0; sector < changed.device.sectorCount; ++sector) {
            EXPECT_TRUE(!load.plan.sectors[sector].isUnchanged || erases[sector] == 0) << "sector " << sector;
            left += load.plan.sectors[sector].isUnchanged ? 1u : 0u;
        }
    }

    Bench whole{GetParam()}, changed{GetParam()};
    std::uint32_t left = 0;  // sectors left out, of all loads
};
INSTANTIATE_TEST_SUITE_P(Parts, RandomChangedLoad, testing::Values("LumoD1F32", "LumoF2F352"));

TEST_P(RandomChangedLoad, LeavesWhatWritingAllLeaves) {
    std::uint32_t done = 0;
    for (std::uint32_t round = 0; round < Rounds() && !HasFailure(); ++round) {
        const Work work = RandomWork(kSeed + round, whole.device).Draw();
        SCOPED_TRACE(testing::Message() << "round " << round << ": " << work.text);
        done += CompareWithAll(work) ? 1u : 0u;
    }
    EXPECT_GT(done, Rounds() / 2) << "most must be loads that can be done";
    EXPECT_GT(left, Rounds() / 2) << "they must leave something out";
}

// ---- With something that fails

constexpr chip::Fault kFaults[] = {chip::Fault::PowerLossBeforeOperation,
                                   chip::Fault::PowerLossInsideOperation,
                                   chip::Fault::PowerLossAfterOperation,
                                   chip::Fault::PowerLossAtTransfer,
                                   chip::Fault::LinkErrorAtTransfer,
                                   chip::Fault::CoreStopsAtOperation,
                                   chip::Fault::CoreStopsAtTransfer,
                                   chip::Fault::OperationFails,
                                   chip::Fault::OperationDoesNothing,
                                   chip::Fault::EarlyReady,
                                   chip::Fault::LateReady,
                                   chip::Fault::StuckBusy};

bool IsAtTransfer(chip::Fault fault) {
    return fault == chip::Fault::PowerLossAtTransfer || fault == chip::Fault::LinkErrorAtTransfer ||
           fault == chip::Fault::CoreStopsAtTransfer;
}

class FailingChangedLoad : public RandomChangedLoad {
protected:
    // What an undisturbed load leaves; `operations` and `transfers` are how many it takes.
    std::vector<std::uint8_t> Undisturbed(const Work& work) {
        MakeChip(whole, work.before);
        const Outcome outcome = Try(whole, work, WriteChoice::Changed);
        EXPECT_EQ(outcome.failure, "");
        operations = static_cast<std::uint32_t>(whole.Chip().GetCounters().flashOperations);
        transfers = static_cast<std::uint32_t>(whole.Chip().GetCounters().transfers);
        return AllOfFlash(whole);
    }

    void Disturb(RandomWork& random, const Work& work) {
        const std::vector<std::uint8_t> wanted = Undisturbed(work);
        const chip::Fault fault = kFaults[random.Below(std::size(kFaults))];
        const std::uint64_t at = 1 + random.Below(std::max(1u, IsAtTransfer(fault) ? transfers : operations));
        SCOPED_TRACE(testing::Message() << chip::Name(fault) << " " << at << " of " << operations << " operations, "
                                        << transfers << " transfers");
        TemporaryFolder state;
        changed.notesFolder = random.Coin() ? state / "loads" : std::filesystem::path();
        MakeChip(changed, work.before);
        changed.Chip().Arm(fault, at);
        const Outcome first = Try(changed, work, WriteChoice::Changed);
        if (changed.Chip().IsPowered()) {
            changed.Chip().Pause(std::chrono::milliseconds(30));  // what was ready too early may still be under way
        }
        EXPECT_TRUE(!first.failure.empty() || AllOfFlash(changed) == wanted) << "success for flash that is not right";
        failures += first.failure.empty() ? 0u : 1u;
        changed.Chip().DisarmAll();
        changed.Chip().PowerCycle();
        EXPECT_EQ(Try(changed, work, WriteChoice::Changed).failure, "") << "after: " << first.failure;
        EXPECT_TRUE(AllOfFlash(changed) == wanted) << "the second load leaves another flash; after: " << first.failure;
    }

    std::uint32_t operations = 0, transfers = 0, failures = 0;
};
INSTANTIATE_TEST_SUITE_P(Parts, FailingChangedLoad, testing::Values("LumoD1F32", "LumoF2F352"));

TEST_P(FailingChangedLoad, IsMadeGoodByTheNextOne) {
    for (std::uint32_t round = 0; round < Rounds() && !HasFailure(); ++round) {
        RandomWork random(kSeed + round, whole.device);
        const Work work = random.DrawRepeatable();
        SCOPED_TRACE(testing::Message() << "round " << round << ": " << work.text);
        Disturb(random, work);
    }
    EXPECT_GT(failures, Rounds() / 4) << "the faults must show";
}

}  // namespace
}  // namespace flash::host
