// Power is lost before, inside and after every flash operation of every job, and once more while the job is repeated.
// Never may success be reported, another's flash be touched, or the chip be locked with the work half done; and the
// same command, done again as a careful host does it, must leave what an undisturbed run leaves.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <functional>
#include <iterator>
#include <set>
#include <string_view>

#include "tests/support/LongForm.h"
#include "tests/system/hardware_faults/JobBench.h"
#include "tests/system/hardware_faults/Sample.h"

namespace flash::test {
namespace {

using chip::Fault;

enum Sweep : std::size_t { OnlyCut, FirstCut, SecondCut, SweepCount };

// In the short form one cut in so many is made.
constexpr std::size_t kShortStrides[SweepCount] = {61, 131, 131};
constexpr std::size_t kShortPairs = 3;  // in one of so many jobs power is lost twice
constexpr std::size_t kShorter = 5;     // with a controller of another kind: its flashloader differs in few places

constexpr Fault kCuts[] = {Fault::PowerLossBeforeOperation, Fault::PowerLossInsideOperation,
                           Fault::PowerLossAfterOperation};

struct Figures {
    std::size_t jobs = 0;
    std::size_t operations = 0;
    std::size_t cuts = 0;
    std::size_t pairs = 0;
    std::size_t tornCcfg = 0;  // cuts that left a last sector as no run leaves it
    std::size_t finished = 0;  // cuts that came when all was done
};

struct Cut {
    Fault fault;
    std::uint64_t operation;
};

std::uint32_t WordAt(const Bytes& flash, std::size_t fromEnd) {
    std::uint32_t word = 0;
    for (std::size_t i = 0; i < 4; ++i) {
        word |= std::uint32_t{flash[flash.size() - fromEnd + i]} << (8 * i);
    }
    return word;
}

// No probe, or no erase of CCFG, from the next power-up on.
bool IsLocked(const Bytes& flash) {
    const bool portIsClosed = flash[flash.size() - kDisableCpuDapFromEnd] == 0x00;
    return portIsClosed || (WordAt(flash, kProtectionFromEnd) >> kLastSector & 1) == 0;
}

std::size_t HashOf(const Bytes& bytes) {
    return std::hash<std::string_view>()({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
}

const std::vector<Job>& Jobs() { return IsLongForm() ? AllJobs() : SmallJobs(); }

class PowerLoss : public testing::TestWithParam<Job> {
protected:
    const Job& job = GetParam();
    JobBench bench{job};
    Bytes undisturbed;               // what a run without cuts leaves
    std::uint64_t operations = 0;    // of that run
    std::set<std::size_t> repeated;  // hashes of the contents of flash from which the work was repeated

    static inline Figures figures;

    static void TearDownTestSuite() {
        std::printf(
            "power loss: %zu jobs, %zu flash operations, 3 kinds of cut: %zu cuts and %zu pairs of cuts, after %zu of "
            "which CCFG was torn and %zu all was done\n",
            figures.jobs, figures.operations, figures.cuts, figures.pairs, figures.tornCcfg, figures.finished);
        if (figures.jobs == Jobs().size()) {  // not of some jobs alone
            for (const std::size_t count : {figures.pairs, figures.tornCcfg}) {
                EXPECT_GT(count, 0U) << "a sweep that swept nothing";
            }
            EXPECT_TRUE(figures.finished > 0 || !IsLongForm()) << "no cut came when all was done";
        }
    }

    void RunUndisturbed() {
        bench.Place(job.initialFlash);
        const std::uint64_t before = bench.Operations();
        ASSERT_EQ(bench.Run(), "");
        operations = bench.Operations() - before;
        undisturbed = bench.Flash();
        ASSERT_GT(operations, 0U);
        ExpectOthersUntouched(undisturbed);
        ++figures.jobs;
        figures.operations += operations;
    }

    std::size_t Stride(Sweep sweep) const {
        return IsLongForm() ? 1 : kShortStrides[sweep] * (job.controller.isWrittenOnce ? kShorter : 1);
    }

    void ForEachCut(std::uint64_t count, Sweep sweep, const std::function<void(const Cut&)>& then) {
        const Sample sample(count * std::size(kCuts), Stride(sweep), job.number);
        for (std::uint64_t i = 0; i < count * std::size(kCuts); ++i) {
            const Cut cut{kCuts[i % std::size(kCuts)], i / std::size(kCuts) + 1};
            if (sample.Has(i) && !HasFailure()) {
                SCOPED_TRACE(testing::Message() << chip::Name(cut.fault) << ": " << cut.operation << " of " << count);
                then(cut);
            }
        }
    }

    // Does the work with a cut in it, and gives the flash that it leaves.
    Bytes Lose(const Cut& cut, std::string (JobBench::*work)()) {
        bench.Chip().Arm(cut.fault, cut.operation);
        const std::string error = (bench.*work)();
        EXPECT_FALSE(bench.Chip().IsPowered()) << "the planned cut did not come";
        EXPECT_NE(error, "") << "success was reported for work that was cut";
        Bytes flash = bench.Flash();
        ExpectOthersUntouched(flash);
        ExpectDefinedProtection(flash);
        return flash;
    }

    void ExpectOthersUntouched(const Bytes& flash) const {
        EXPECT_TRUE(WithRanges(job.initialFlash, flash, job.mayTouch) == flash)
            << "flash outside the request was touched";
    }

    void ExpectDefinedProtection(const Bytes& flash) const {
        for (const std::size_t word : {kProtectionFromEnd, kProtectionFromEnd - 4}) {
            const std::uint32_t neither = WordAt(job.initialFlash, word) & WordAt(undisturbed, word);
            EXPECT_EQ(~WordAt(flash, word) & neither, 0U) << "a sector is protected that nobody wanted protected";
        }
        EXPECT_TRUE(!IsLocked(flash) || flash == undisturbed) << "the chip is locked with the work half done";
        const auto isLastSectorOf = [&](const Bytes& other) {
            const std::uint32_t start = job.Sector(kLastSector).start;
            return std::equal(flash.begin() + start, flash.end(), other.begin() + start);
        };
        figures.tornCcfg += isLastSectorOf(job.initialFlash) || isLastSectorOf(undisturbed) ? 0U : 1U;
    }

    // A chip that is locked because all is done needs nothing more, and allows nothing. What a repeat does depends on
    // flash alone, so it is done once for each content of flash.
    void ExpectRepeatable(const Bytes& left) {
        if (left == undisturbed && IsLocked(left)) {
            ++figures.finished;
        } else if (repeated.insert(HashOf(left)).second) {
            bench.Chip().PowerOn();
            EXPECT_EQ(bench.Repeat(), "") << "the same command does not succeed again";
            EXPECT_TRUE(bench.Flash() == undisturbed) << "the same command leaves another flash than without the cut";
            EXPECT_EQ(bench.Chip().ViolationTotal(), 0U);
        }
    }

    void CutOnce() {
        std::size_t cuts = 0;
        ForEachCut(operations, OnlyCut, [&](const Cut& cut) {
            bench.Place(job.initialFlash);
            ExpectRepeatable(Lose(cut, &JobBench::Run));
            ++cuts;
        });
        EXPECT_GT(cuts, 0U) << "a sweep that swept nothing";
        figures.cuts += cuts;
    }

    // First cuts that leave the same flash, as one after an operation and one before the next, have the same second
    // cuts.
    void CutTwice() {
        std::set<std::size_t> swept;
        ForEachCut(operations, FirstCut, [&](const Cut& cut) {
            bench.Place(job.initialFlash);
            const Bytes left = Lose(cut, &JobBench::Run);
            if (!IsLocked(left) && swept.insert(HashOf(left)).second) {
                CutTheRepeat(left);
            }
        });
    }
    void CutTheRepeat(const Bytes& left) {
        bench.Place(left);
        const std::uint64_t before = bench.Operations();
        ASSERT_EQ(bench.Repeat(), "");
        ForEachCut(bench.Operations() - before, SecondCut, [&](const Cut& cut) {
            bench.Place(left);
            ExpectRepeatable(Lose(cut, &JobBench::Repeat));
            ++figures.pairs;
        });
    }
};

TEST_P(PowerLoss, AtAnyOperationIsMadeGood) {
    ASSERT_NO_FATAL_FAILURE(RunUndisturbed());
    CutOnce();
    if (!job.isFull && (IsLongForm() || job.number % kShortPairs == 0)) {
        CutTwice();
    }
}

INSTANTIATE_TEST_SUITE_P(Jobs, PowerLoss, testing::ValuesIn(Jobs()), [](const auto& each) { return each.param.name; });

}  // namespace
}  // namespace flash::test
