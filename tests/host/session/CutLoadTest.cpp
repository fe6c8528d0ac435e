// Loads of what changed that lose power at some flash operation, and the same load again: with the note that the first
// one left, and without it, as on another machine. Nothing that was half erased or half programmed may be taken for
// right.
#include <gtest/gtest.h>

#include "tests/host/files/TemporaryFolder.h"
#include "tests/host/session/SessionBench.h"
#include "tests/host/support/Throws.h"
#include "tests/support/LongForm.h"

namespace flash::host {
namespace {

constexpr chip::Fault kCuts[] = {chip::Fault::PowerLossBeforeOperation, chip::Fault::PowerLossInsideOperation,
                                 chip::Fault::PowerLossAfterOperation};

// In the short form one cut in so many is made.
constexpr std::uint64_t kShortStride = 17;

// Few words in each sector, because each is one more operation to fail at.
struct Images {
    explicit Images(std::uint32_t sectorBytes) : before(4 * sectorBytes, 0xFF), wanted(before) {
        const auto put = [sectorBytes](std::vector<std::uint8_t>& flash, std::uint32_t sector, std::uint8_t seed) {
            const std::vector<std::uint8_t> words = Pattern(12, seed);
            std::copy(words.begin(), words.end(), flash.begin() + sector * sectorBytes + 0x20);
        };
        for (const std::uint32_t sector : {0u, 1u, 3u}) {
            put(before, sector, static_cast<std::uint8_t>(sector + 1));
        }
        put(wanted, 0, 1);   // is there
        put(wanted, 1, 11);  // others are
        put(wanted, 2, 12);  // none are
        put(wanted, 3, 13);
    }
    std::vector<std::uint8_t> before, wanted;
};

class CutLoad : public testing::TestWithParam<const char*> {
protected:
    // The load that is cut at that operation, and then once more. Returns how many operations an uncut one takes when
    // `at` is 0.
    std::uint64_t Run(chip::Fault cut, std::uint64_t at, bool hasNote) {
        TemporaryFolder state;
        Bench bench(GetParam());
        if (hasNote) {
            bench.notesFolder = state / "loads";
        }
        const Images images(bench.device.sectorSizeBytes);
        bench.Chip().PlaceInFlash(0, images.before);
        const ProgramImage image = ImageOf({{0, images.wanted}});
        bench.Connect();
        if (at == 0) {
            Program(*bench.session, image);
            return bench.Chip().GetCounters().flashOperations;
        }
        bench.Chip().Arm(cut, at);
        FailureOf(FailureKind::Operation, [&] { Program(*bench.session, image); });
        bench.Chip().DisarmAll();
        bench.Chip().PowerCycle();

        const PlannedLoad again = bench.Connect().Plan(image, {});
        bench.session->Program(again);

        EXPECT_EQ(bench.Flash(0, images.wanted.size()), images.wanted);
        EXPECT_EQ(again.plan.sectors[0].isUnchanged, true);
        if (hasNote) {
            EXPECT_EQ(again.plan.Sectors(&SectorPlan::isWritten).Text(), "1-3") << "nothing is believed of these";
        }
        EXPECT_TRUE(bench.Connect().Plan(image, {}).plan.writes.empty());
        return 0;
    }

    void Sweep(bool hasNote) {
        const std::uint64_t operations = Run(kCuts[0], 0, hasNote);
        ASSERT_EQ(operations, 3 * (1 + 3u)) << "an erase and three words in each sector that changes";
        std::uint64_t number = 0;
        for (const chip::Fault cut : kCuts) {
            for (std::uint64_t at = 1; at <= operations; ++at) {
                if (test::IsLongForm() || number++ % kShortStride == 0) {
                    SCOPED_TRACE(testing::Message() << "cut " << static_cast<int>(cut) << " at operation " << at);
                    Run(cut, at, hasNote);
                }
            }
        }
    }
};
INSTANTIATE_TEST_SUITE_P(Session, CutLoad, testing::Values("LumoD1F32", "LumoF2F352"));

TEST_P(CutLoad, IsMadeGoodByTheNextOneThatKnowsOfIt) { Sweep(true); }

TEST_P(CutLoad, IsMadeGoodByTheNextOneThatDoesNot) { Sweep(false); }

}  // namespace
}  // namespace flash::host
