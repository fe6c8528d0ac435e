// Whole operations through the plug-in on chips with another flash controller, each with a flashloader of its own:
// double words that are written once, pages of 2 KiB, protection told with ones, a watchdog of 100 ms.
#include <gtest/gtest.h>

#include <string_view>

#include "tests/host/session/SessionBench.h"
#include "tests/host/support/Throws.h"
#include "tests/support/LongForm.h"

namespace flash::host {
namespace {

constexpr const char* kController = "unit=8 written-once page=2048 protects-with-ones watchdog=100";

class DoubleWordBench : public Bench {
public:
    explicit DoubleWordBench(const std::string& part) : Bench(part) {
        device.controller = kController;
        chip = std::make_shared<chip::VirtualChip>(VirtualChipSettings(device));
        properties["DeviceFlashloaderFile"] =
            device.IsSecondGeneration() ? "lumof-double-words.elf" : "lumod-double-words.elf";
    }
    std::uint32_t SectorBytes() const { return device.sectorSizeBytes; }
    std::vector<std::uint8_t> AllFlash() { return Flash(0, Chip().FlashBytes()); }
};

class DoubleWords : public testing::TestWithParam<const char*> {
protected:
    // What chunks are multiples of. The large flash is slow, and no other in this.
    static std::vector<std::uint32_t> Alignments() {
        const bool isSmall = std::string_view(GetParam()) == "LumoD1F32";
        return isSmall || test::IsLongForm() ? std::vector<std::uint32_t>{1, 2, 4, 8} : std::vector<std::uint32_t>{1};
    }
};
INSTANTIATE_TEST_SUITE_P(Session, DoubleWords, testing::Values("LumoD1F32", "LumoF2F352"));

TEST_P(DoubleWords, EveryEraseChoiceLeavesTheFileInFlashWhereverItBeginsAndEnds) {
    for (const EraseChoice erase :
         {EraseChoice::Necessary, EraseChoice::Retain, EraseChoice::All, EraseChoice::Listed, EraseChoice::None}) {
        for (const std::uint32_t alignment : Alignments()) {
            SCOPED_TRACE(testing::Message() << static_cast<int>(erase) << ", alignment " << alignment);
            DoubleWordBench bench(GetParam());
            ProgramOptions options;
            options.erase = erase;
            options.erasedSectors = SectorsOf({0, 1});
            const auto first = Pattern(27 * alignment);  // across the end of a sector
            const auto second = Pattern(3 * alignment, 5);
            const std::uint32_t begin = bench.SectorBytes() - 5 * alignment;
            const auto behind = begin + 29 * alignment;

            Program(bench.Connect(), ImageOf({{begin, first}, {behind, second}}), options);

            EXPECT_EQ(bench.Flash(begin, first.size()), first);
            EXPECT_EQ(bench.Flash(behind, second.size()), second);
            EXPECT_EQ(bench.Chip().ViolationTotal(), 0U);
        }
    }
}

TEST_P(DoubleWords, RetainingKeepsTheRestOfASector) {
    DoubleWordBench bench(GetParam());
    const auto before = Pattern(3 * bench.SectorBytes(), 9);
    bench.Chip().PlaceInFlash(0, before);
    ProgramOptions options;
    options.erase = EraseChoice::Retain;
    std::vector<std::uint8_t> expected = before;
    const auto patch = Pattern(13, 77);
    std::copy(patch.begin(), patch.end(), expected.begin() + bench.SectorBytes() - 5);

    Program(bench.Connect(), ImageOf({{bench.SectorBytes() - 5, patch}}), options);

    EXPECT_EQ(bench.Flash(0, expected.size()), expected);
    EXPECT_EQ(bench.Chip().ViolationTotal(), 0U);
}

TEST_P(DoubleWords, AKeptCcfgSurvivesEveryEraseChoice) {
    for (const EraseChoice erase : {EraseChoice::Necessary, EraseChoice::Retain, EraseChoice::All}) {
        SCOPED_TRACE(static_cast<int>(erase));
        DoubleWordBench bench(GetParam());
        const auto ccfg = GoodCcfg();
        const auto ccfgAddress = static_cast<std::uint32_t>(bench.Chip().FlashBytes() - ccfg.size());
        const std::uint32_t lastSector = bench.Chip().FlashBytes() - bench.SectorBytes();
        bench.Chip().PlaceInFlash(ccfgAddress, ccfg);
        ProgramOptions options;
        options.erase = erase;
        options.keepCcfg = true;

        Program(bench.Connect(), ImageOf({{lastSector + 3, Pattern(100)}}), options);

        EXPECT_EQ(bench.Flash(ccfgAddress, ccfg.size()), ccfg);
        EXPECT_EQ(bench.Flash(lastSector + 3, 100), Pattern(100));
        EXPECT_EQ(bench.Chip().ViolationTotal(), 0U);
    }
}

// The target is asked in pieces, each of which it answers before the watchdog bites.
TEST_P(DoubleWords, WhatIsThereIsFoundOnTheTargetAndNotWrittenAgain) {
    DoubleWordBench bench(GetParam());
    auto content = Pattern(bench.Chip().FlashBytes() - bench.SectorBytes());
    bench.Chip().PlaceInFlash(0, content);
    content[bench.SectorBytes() + 5] ^= 0x10;

    const LoadResult result = Program(bench.Connect(), ImageOf({{0, content}}));

    EXPECT_EQ(result.writtenSectors, 1U);
    EXPECT_EQ(bench.Flash(0, content.size()), content);
    EXPECT_EQ(bench.observer.notes, std::vector<std::string>{});
    EXPECT_EQ(bench.Chip().ViolationTotal(), 0U);
}

// ---- Power that is lost, and a controller that lies

// Few units in each sector, because each is one more operation to fail at. Between them the sectors are written in
// chunks that end inside a unit.
struct Images {
    explicit Images(std::uint32_t sectorBytes) : before(3 * sectorBytes, 0xFF), wanted(before) {
        for (const std::uint32_t sector : {0u, 1u}) {
            const auto put = [&](std::vector<std::uint8_t>& flash, std::uint8_t seed) {
                const std::vector<std::uint8_t> bytes = Pattern(20, seed);
                std::copy(bytes.begin(), bytes.end(), flash.begin() + sector * sectorBytes + 0x21);
            };
            put(before, static_cast<std::uint8_t>(sector + 1));
            put(wanted, static_cast<std::uint8_t>(sector + 11));
        }
    }
    std::vector<std::uint8_t> before, wanted;
};

class DoubleWordsThatFail : public testing::TestWithParam<const char*> {
protected:
    // In the short form one fault in so many is made.
    static constexpr std::uint64_t kShortStride = 29;

    static std::uint64_t CountOperations() {
        DoubleWordBench bench(GetParam());
        const Images images(bench.SectorBytes());
        bench.Chip().PlaceInFlash(0, images.before);
        Program(bench.Connect(), ImageOf({{0, images.wanted}}));
        return bench.Chip().GetCounters().flashOperations;
    }

    template <typename Run>
    static void Sweep(std::initializer_list<chip::Fault> faults, Run run) {
        const std::uint64_t operations = CountOperations();
        std::uint64_t number = 0;
        for (const chip::Fault fault : faults) {
            for (std::uint64_t at = 1; at <= operations; ++at) {
                if (test::IsLongForm() || number++ % kShortStride == 0) {
                    SCOPED_TRACE(testing::Message() << chip::Name(fault) << " at operation " << at);
                    DoubleWordBench bench(GetParam());
                    const Images images(bench.SectorBytes());
                    bench.Chip().PlaceInFlash(0, images.before);
                    bench.Connect();
                    bench.Chip().Arm(fault, at);
                    run(bench, images);
                }
            }
        }
    }
};
INSTANTIATE_TEST_SUITE_P(Session, DoubleWordsThatFail, testing::Values("LumoD1F32", "LumoF2F352"));

TEST_P(DoubleWordsThatFail, ALossOfPowerAnywhereIsMadeGoodByTheSameLoad) {
    using chip::Fault;
    Sweep({Fault::PowerLossBeforeOperation, Fault::PowerLossInsideOperation, Fault::PowerLossAfterOperation},
          [](DoubleWordBench& bench, const Images& images) {
              const ProgramImage image = ImageOf({{0, images.wanted}});
              FailureOf(FailureKind::Operation, [&] { Program(*bench.session, image); });
              bench.Chip().DisarmAll();
              bench.Chip().PowerCycle();

              Program(bench.Connect(), image);

              EXPECT_EQ(bench.Flash(0, images.wanted.size()), images.wanted);
          });
}

TEST_P(DoubleWordsThatFail, ALieNeverEndsInAGoodLoadOfWrongBytes) {
    using chip::Fault;
    Sweep({Fault::OperationFails, Fault::OperationDoesNothing, Fault::EarlyReady},
          [](DoubleWordBench& bench, const Images& images) {
              const ProgramImage image = ImageOf({{0, images.wanted}});
              bool isGood = true;
              try {
                  Program(*bench.session, image);
              } catch (const Failure&) {
                  isGood = false;
              }
              EXPECT_TRUE(!isGood || bench.Flash(0, images.wanted.size()) == images.wanted);
          });
}

}  // namespace
}  // namespace flash::host
