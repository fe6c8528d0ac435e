// Which ranges the target is found to hold, over the virtual chip; and what becomes of answers that cannot be right,
// over a fake probe.
#include "host/target/FlashQuestion.h"

#include <gtest/gtest.h>

#include <random>

#include "chip/VirtualChip.h"
#include "host/virtual_chip/VirtualChipProbe.h"
#include "tests/host/support/FakeProbe.h"

namespace flash::host {
namespace {

std::vector<std::uint8_t> RandomFlash(std::uint32_t bytes) {
    std::mt19937 random(3);
    std::vector<std::uint8_t> flash(bytes);
    std::generate(flash.begin(), flash.end(), [&] { return static_cast<std::uint8_t>(random()); });
    std::fill(flash.end() - 0x58, flash.end(), std::uint8_t{0xFF});
    return flash;
}

chip::Settings ChipOf(chip::Generation generation) {
    chip::Settings settings;
    settings.generation = generation;
    return settings;
}

class OnAVirtualChip : public testing::TestWithParam<chip::Generation> {
protected:
    OnAVirtualChip() : probe(chip::VirtualChip(ChipOf(GetParam()))) {
        content = RandomFlash(probe.Chip().FlashBytes());
        probe.Chip().PlaceInFlash(0, content);
    }

    std::vector<WantedRange> InPieces(std::uint32_t pieceBytes, std::uint32_t stride) const {
        std::vector<WantedRange> ranges;
        for (std::uint32_t address = 0; address < content.size(); address += stride) {
            ranges.push_back({address, std::span(content).subspan(address, pieceBytes)});
        }
        return ranges;
    }

    VirtualChipProbe probe;
    std::vector<std::uint8_t> content;
    const Routine routine = ReadRoutine(DIGEST_IMAGE);
};

TEST_P(OnAVirtualChip, FlashThatHoldsAllIsFoundSoForFewBytes) {
    const std::vector<WantedRange> wanted = InPieces(probe.Chip().SectorSize(), probe.Chip().SectorSize());

    const std::vector<bool> isHeld = AskWhatFlashHolds(probe, routine, wanted);

    EXPECT_EQ(isHeld, std::vector<bool>(wanted.size(), true));
    const chip::Counters& counters = probe.Chip().GetCounters();
    EXPECT_LE(counters.bytesRead + counters.bytesWritten, content.size() / 100);
    EXPECT_EQ(counters.flashOperations, 0u);
    EXPECT_EQ(probe.Chip().ViolationTotal(), 0u);
    EXPECT_FALSE(probe.ReadCoreState().isRunning);
}

TEST_P(OnAVirtualChip, EachSectorThatDiffersIsFound) {
    const std::uint32_t sectorSize = probe.Chip().SectorSize();
    std::vector<bool> expected(content.size() / sectorSize, true);
    for (const std::size_t sector : {std::size_t{0}, std::size_t{5}, expected.size() - 1}) {
        content[sector * sectorSize + 17] ^= 1;
        expected[sector] = false;
    }

    EXPECT_EQ(AskWhatFlashHolds(probe, routine, InPieces(sectorSize, sectorSize)), expected);
}

// More runs, and more ranges, than one question has room for.
TEST_P(OnAVirtualChip, ManyScatteredRangesTakeSeveralQuestions) {
    content[3 * 1024 + 10] ^= 0x10;
    const std::vector<WantedRange> wanted = InPieces(100, 1024);
    std::vector<bool> expected(wanted.size(), true);
    expected[3] = false;
    std::size_t questions = 0;

    const std::vector<bool> isHeld = AskWhatFlashHolds(probe, routine, wanted, [&questions] {
        ++questions;
        return DrawDigestKeys();
    });

    EXPECT_EQ(isHeld, expected);
    EXPECT_EQ(questions, (wanted.size() + 5) / 6);
}

TEST_P(OnAVirtualChip, NothingToAskIsAnsweredWithNothing) {
    EXPECT_TRUE(AskWhatFlashHolds(probe, routine, {}).empty());
}

INSTANTIATE_TEST_SUITE_P(Generations, OnAVirtualChip, testing::Values(chip::Generation::LumoD, chip::Generation::LumoF),
                         [](const auto& row) { return row.param == chip::Generation::LumoD ? "LumoD" : "LumoF"; });

TEST(FlashQuestion, HasNoAnswerWhenTheSramIsTooSmall) {
    chip::Settings settings = ChipOf(chip::Generation::LumoD);
    settings.ramBytes = 1024;
    VirtualChipProbe probe{chip::VirtualChip(settings)};
    const std::vector<std::uint8_t> erased(4096, 0xFF);
    const Routine routine = ReadRoutine(DIGEST_IMAGE);
    const WantedRange wanted[] = {{0, erased}};

    EXPECT_THROW(AskWhatFlashHolds(probe, routine, wanted), ProbeError);
    EXPECT_EQ(routine.Find("g_stackTop"), 0x2000'0800u);
}

TEST(FlashQuestion, HasNoAnswerWhenTheCoreStops) {
    VirtualChipProbe probe(chip::VirtualChip(ChipOf(chip::Generation::LumoD)));
    const std::vector<std::uint8_t> outside(64);
    const WantedRange nowhere[] = {{0x1000'0000, outside}};

    try {
        AskWhatFlashHolds(probe, ReadRoutine(DIGEST_IMAGE), nowhere);
        FAIL() << "it was answered";
    } catch (const RoutineError& error) {
        EXPECT_STREQ(error.what(), "digest.elf did not end within 100 ms: the core is halted, locked up");
    }
}

// A target that answers what a test says.
struct AnOddTarget : testing::Test {
    AnOddTarget() {
        probe.onPause = [this] {
            probe.StoreWord(exchange + 16, answered);
            probe.Store(exchange, std::vector<std::uint8_t>(16, filler));
            probe.Store(routine.Find("g_digests"), std::vector<std::uint8_t>(16 * 32, filler));
        };
    }

    std::vector<bool> Ask() {
        const WantedRange wanted[] = {{0, std::span(bytes).first(10)}, {10, std::span(bytes).first(10)}};
        return AskWhatFlashHolds(probe, routine, wanted);
    }
    std::string TextOfFailure() {
        try {
            Ask();
        } catch (const RoutineError& error) {
            return error.what();
        }
        return "";
    }

    const Routine routine = ReadRoutine(DIGEST_IMAGE);
    const std::uint32_t exchange = routine.Find("g_exchange");
    const std::vector<std::uint8_t> bytes = std::vector<std::uint8_t>(20, 3);
    std::uint32_t answered = 2;
    std::uint8_t filler = 0x5A;
    FakeProbe probe;
};

TEST_F(AnOddTarget, WithDigestsOfItsOwnHoldsNothing) {
    for (const std::uint8_t value : std::initializer_list<std::uint8_t>{0x5A, 0x00, 0xFF}) {
        filler = value;

        EXPECT_EQ(Ask(), (std::vector<bool>{false, false}));
    }
}

TEST_F(AnOddTarget, ThatRefusesIsToldOf) {
    answered = 0xFFFF'FFFF;

    EXPECT_EQ(TextOfFailure(), "digest.elf refused the question, or met a fault");
}

TEST_F(AnOddTarget, ThatHasAnotherNumberOfDigestsIsToldOf) {
    for (const std::uint32_t number : {1u, 3u, 0x0102'0304u}) {
        answered = number;

        EXPECT_EQ(TextOfFailure(), "digest.elf was asked for 2 digests and says that it has " + std::to_string(number));
    }
}

// The answers of one question are none for the next one.
TEST_F(AnOddTarget, WithTheDigestsOfYesterdayHoldsNothing) {
    const DigestKeys yesterday = DrawDigestKeys();
    const std::vector<FlashDigest> old = {DigestOf(yesterday, 0, std::span(bytes).first(10)),
                                          DigestOf(yesterday, 10, std::span(bytes).first(10))};
    probe.onPause = [&] {
        probe.StoreWord(exchange + 16, 2);
        probe.Store(exchange, SummaryOf(yesterday, old));
        probe.Store(routine.Find("g_digests"), old[0]);
        probe.Store(routine.Find("g_digests") + 16, old[1]);
    };

    EXPECT_EQ(Ask(), (std::vector<bool>{false, false}));
}

}  // namespace
}  // namespace flash::host
