// The controller lies at every flash operation of every job: it did nothing, or it says ready too early, too late or
// never; and a bit will not program, or flips. Wherever the check on the target or reading back is on, success may
// only be reported when flash holds what was asked for. Without them lies go unnoticed, and are counted.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <vector>

#include "tests/support/LongForm.h"
#include "tests/system/hardware_faults/JobBench.h"
#include "tests/system/hardware_faults/Sample.h"

namespace flash::test {
namespace {

using chip::EventKind;
using chip::Fault;

constexpr Fault kLies[] = {Fault::OperationDoesNothing, Fault::EarlyReady, Fault::LateReady, Fault::StuckBusy};

// In the short form one lie in so many is told, and one bit in so many is spoilt.
constexpr std::size_t kShortStride = 181;
constexpr std::size_t kShorter = 5;  // with a controller of another kind: its flashloader differs in few places

// More than that many bytes take their time, bit by bit.
constexpr std::size_t kSmallImage = 32;

struct Figures {
    std::size_t jobs = 0;
    std::size_t operations = 0;
    std::size_t bits = 0;
    std::size_t lies = 0;
    std::size_t caught = 0;
    std::size_t harmless = 0;
    std::size_t unverified = 0;  // told to a host that has not verified yet
    std::size_t unnoticed = 0;   // of these
};

struct Defect {
    const char* name;
    void (chip::VirtualChip::*arm)(std::uint32_t address, unsigned bit);
};
constexpr Defect kDefects[] = {{"a bit that will not program", &chip::VirtualChip::ArmBitThatWillNotProgram},
                               {"a bit that flips", &chip::VirtualChip::ArmBitThatFlips}};

struct PlannedLie {
    Fault fault;
    std::uint64_t operation;
};

class SilentLies : public testing::TestWithParam<Job> {
protected:
    const Job& job = GetParam();
    JobBench bench{job};
    Bytes undisturbed;             // what a run without lies leaves
    std::vector<EventKind> kinds;  // of the flash operations of that run

    static inline Figures figures;

    static void TearDownTestSuite() {
        std::printf(
            "silent lies: %zu jobs, 4 lies at %zu flash operations and 2 defects of %zu bits: %zu lies, of which %zu "
            "were caught and %zu did no harm; before verification %zu of %zu were unnoticed\n",
            figures.jobs, figures.operations, figures.bits, figures.lies, figures.caught, figures.harmless,
            figures.unnoticed, figures.unverified);
        if (figures.jobs == SmallJobs().size()) {  // not of some jobs alone
            for (const std::size_t count : {figures.bits, figures.caught, figures.harmless, figures.unnoticed}) {
                EXPECT_GT(count, 0U) << "a sweep that swept nothing";
            }
        }
    }

    void RunUndisturbed() {
        bench.Place(job.initialFlash);
        const std::size_t before = bench.Chip().Timeline().size();
        ASSERT_EQ(bench.Run(), "");
        undisturbed = bench.Flash();
        ASSERT_EQ(Verify(), "");
        const std::vector<chip::Event>& events = bench.Chip().Timeline();
        for (std::size_t i = before; i < events.size(); ++i) {
            if (events[i].kind == EventKind::EraseSector || events[i].kind == EventKind::EraseBank ||
                events[i].kind == EventKind::ProgramWord) {
                kinds.push_back(events[i].kind);
            }
        }
        ASSERT_FALSE(kinds.empty());
        ++figures.jobs;
        figures.operations += kinds.size();
    }

    // As a host does it: reads back what the target has not checked. Not at once, since an operation that was ready too
    // early may still be under way.
    std::string Verify() {
        bench.Chip().Pause(std::chrono::milliseconds(30));
        return bench.ReadBack(job.IsCheckedOnTarget() ? job.withoutCrc : job.asked, undisturbed);
    }

    void Judge(const std::string& error) {
        const std::string afterVerification = error.empty() ? Verify() : error;
        bench.Chip().Pause(std::chrono::milliseconds(30));
        const Bytes flash = bench.Flash();
        const bool isRight = WithRanges(flash, undisturbed, job.asked) == flash;
        EXPECT_TRUE(isRight || !afterVerification.empty()) << "success was reported for flash that is not as asked";
        EXPECT_TRUE(WithRanges(job.initialFlash, flash, job.mayTouch) == flash)
            << "flash outside the request was touched";
        ++figures.lies;
        ++(afterVerification.empty() ? figures.harmless : figures.caught);
        if (!job.IsCheckedOnTarget()) {
            ++figures.unverified;
            figures.unnoticed += error.empty() && !isRight ? 1U : 0U;
        }
    }

    std::size_t Stride() const {
        return IsLongForm() ? 1 : kShortStride * (job.controller.isWrittenOnce ? kShorter : 1);
    }

    // The short form leaves out what waits for the end of an erase: it is long, and the core spins meanwhile.
    std::vector<PlannedLie> PlanLies() const {
        std::vector<PlannedLie> lies;
        for (std::size_t i = 0; i < kinds.size(); ++i) {
            for (const Fault fault : kLies) {
                if (IsLongForm() || fault != Fault::StuckBusy || kinds[i] == EventKind::ProgramWord) {
                    lies.push_back({fault, i + 1});
                }
            }
        }
        return lies;
    }
    void LieAtEachOperation() {
        const std::vector<PlannedLie> lies = PlanLies();
        const Sample sample(lies.size(), Stride(), job.number);
        const std::size_t before = figures.lies;
        for (std::size_t i = 0; i < lies.size(); ++i) {
            if (sample.Has(i) && !HasFailure()) {
                SCOPED_TRACE(testing::Message()
                             << chip::Name(lies[i].fault) << ": " << lies[i].operation << " of " << kinds.size());
                Lie(lies[i].fault, lies[i].operation);
            }
        }
        EXPECT_GT(figures.lies, before) << "a sweep that swept nothing";
    }
    void Lie(Fault lie, std::uint64_t operation) {
        bench.Place(job.initialFlash);
        const std::size_t before = bench.Faults();
        bench.Chip().Arm(lie, operation);
        const std::string error = bench.Run();
        EXPECT_EQ(bench.Faults(), before + 1) << "the planned lie was not told";
        EXPECT_TRUE(lie != Fault::StuckBusy || !error.empty()) << "nobody noticed an operation that never ends";
        Judge(error);
    }

    void SpoilEachBit() {
        for (const Segment& segment : job.segments) {
            const std::size_t bits = segment.data.size() <= kSmallImage ? 8 * segment.data.size() : 0;
            const Sample sample(bits * std::size(kDefects), Stride(), job.number);
            for (std::size_t i = 0; i < bits * std::size(kDefects); ++i) {
                const Defect& defect = kDefects[i % std::size(kDefects)];
                const std::size_t bit = i / std::size(kDefects);
                if (sample.Has(i) && !HasFailure()) {
                    SCOPED_TRACE(testing::Message() << defect.name << ": " << bit << " of " << bits);
                    Spoil(defect, segment.address + static_cast<std::uint32_t>(bit / 8), bit % 8);
                }
            }
            figures.bits += bits;
        }
    }
    void Spoil(const Defect& defect, std::uint32_t address, unsigned bit) {
        bench.Place(job.initialFlash);
        (bench.Chip().*defect.arm)(address, bit);
        const std::string error = bench.Run();
        const auto bitOf = [&](const Bytes& flash) { return flash[address] >> bit & 1; };
        const bool isCleared =
            bitOf(undisturbed) == 0 && (kinds[0] != EventKind::ProgramWord || bitOf(job.initialFlash) == 1);
        if (isCleared || defect.arm == &chip::VirtualChip::ArmBitThatFlips) {
            EXPECT_NE(bitOf(bench.Flash()), bitOf(undisturbed)) << "the planned defect did not show";
        }
        Judge(error);
    }
};

TEST_P(SilentLies, AreCaughtWhereverSomebodyChecks) {
    ASSERT_NO_FATAL_FAILURE(RunUndisturbed());
    LieAtEachOperation();
    SpoilEachBit();
}

INSTANTIATE_TEST_SUITE_P(Jobs, SilentLies, testing::ValuesIn(SmallJobs()),
                         [](const auto& each) { return each.param.name; });

}  // namespace
}  // namespace flash::test
