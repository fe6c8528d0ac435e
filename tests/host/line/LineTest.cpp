// Which slot takes the next chip, and when a line is over.
#include "host/line/Line.h"

#include <gtest/gtest.h>

namespace flash::host::line {
namespace {

Job TwoSlots(StartMode start, std::optional<std::uint64_t> count) {
    Job job;
    job.start = start;
    job.count = count;
    job.badInARow = 2;
    job.slots = {{"left", "virtual:a-{n}"}, {"right", "virtual:b-{n}"}};
    return job;
}

void Begin(Line& line, std::size_t slot) {
    ASSERT_TRUE(line.MayBegin(slot));
    ChipRun run;
    run.number = line.TakeNumber(slot);
    line.SlotAt(slot).Begin(std::move(run), std::chrono::seconds(1));
}

void EndGood(Line& line, std::size_t slot) {
    line.SlotAt(slot).Pass({});
    line.LookAt(slot);
}

void EndBad(Line& line, std::size_t slot) {
    line.SlotAt(slot).Fail("dead", {});
    line.LookAt(slot);
}

TEST(ALineThatStartsByItself, EndsWhenAllChipsAreDone) {
    Line line(TwoSlots(StartMode::Immediately, 3));
    Begin(line, 0);
    Begin(line, 1);
    EndGood(line, 0);
    Begin(line, 0);
    EndGood(line, 1);

    EXPECT_FALSE(line.MayBegin(1)) << "three have begun";
    EXPECT_FALSE(line.IsOver()) << "the third is not done";
    EXPECT_EQ(line.SlotAt(0).Run()->number, 3u);
    EndBad(line, 0);

    EXPECT_TRUE(line.IsOver());
    EXPECT_TRUE(line.IsWhole());
    EXPECT_EQ(line.Good(), 2u);
    EXPECT_EQ(line.Bad(), 1u);
}

TEST(ALineThatStartsByItself, GoesOnForEverWithoutACount) {
    Line line(TwoSlots(StartMode::Immediately, std::nullopt));
    for (int i = 0; i < 1000; ++i) {
        Begin(line, 0);
        EndGood(line, 0);
    }

    EXPECT_FALSE(line.IsOver());
    EXPECT_TRUE(line.IsWhole());
}

TEST(ALineThatStartsByItself, LosesASlotWithNothingButBadChips) {
    Line line(TwoSlots(StartMode::Immediately, 100));
    Begin(line, 0);
    EndBad(line, 0);
    Begin(line, 0);
    EndBad(line, 0);

    EXPECT_FALSE(line.MayBegin(0));
    EXPECT_EQ(line.SlotAt(0).LastCause(), "2 chips bad in a row, the last one: dead");
    EXPECT_TRUE(line.MayBegin(1));
    EXPECT_FALSE(line.IsOver());

    for (int i = 0; i < 2; ++i) {
        Begin(line, 1);
        EndBad(line, 1);
    }
    EXPECT_TRUE(line.IsOver());
    EXPECT_FALSE(line.IsWhole());
}

TEST(ALine, ThatEndsLetsChipsFinishAndBeginsNone) {
    Line line(TwoSlots(StartMode::Immediately, 100));
    Begin(line, 0);

    line.End("");

    EXPECT_FALSE(line.MayBegin(1));
    EXPECT_FALSE(line.IsOver());
    EndGood(line, 0);
    EXPECT_FALSE(line.MayBegin(0));
    EXPECT_TRUE(line.IsOver());
    EXPECT_EQ(line.Trouble(), "");
}

void Postpone(Line& line, std::size_t slot) {
    line.SlotAt(slot).Hear(ResultEvent{false, 4, "the database is lost", false, true});
    line.SlotAt(slot).WorkHasEnded({4, "ended with exit code 4", ""}, {});
    line.LookAt(slot);
}

TEST(ALine, GoesOnWithAPostponedChipAndStopsNoSlotForIt) {
    Line line(TwoSlots(StartMode::Immediately, 1));
    Begin(line, 0);
    for (int i = 0; i < 10; ++i) {
        Postpone(line, 0);
        EXPECT_EQ(line.SlotAt(0).State(), SlotState::Postponed);
    }

    EXPECT_FALSE(line.MayBegin(0)) << "it is the same chip, with its number";
    EXPECT_FALSE(line.IsOver());
    EXPECT_FALSE(line.MayResume(0, {}));
    EXPECT_TRUE(line.MayResume(0, TimePoint::max()));
}

TEST(ALine, ThatEndsWaitsForNoDatabase) {
    Line line(TwoSlots(StartMode::Immediately, 2));
    Begin(line, 0);
    Begin(line, 1);
    Postpone(line, 0);
    line.End("");
    Postpone(line, 1);

    EXPECT_FALSE(line.MayResume(0, TimePoint::max()));
    EXPECT_TRUE(line.IsOver());
    EXPECT_FALSE(line.IsWhole()) << "neither chip was worked on";
    EXPECT_EQ(line.Begun(), 0u);
    EXPECT_EQ(line.Bad(), 0u);
}

TEST(ALine, RemembersTheFirstTrouble) {
    Line line(TwoSlots(StartMode::Immediately, 100));

    line.End("");
    line.End("the file has changed");
    line.End("and more");

    EXPECT_EQ(line.Trouble(), "the file has changed");
}

TEST(ALineThatIsAsked, BeginsWithWhatWasAskedForAndOnce) {
    Line line(TwoSlots(StartMode::Key, std::nullopt));
    EXPECT_FALSE(line.MayBegin(0));

    EXPECT_TRUE(line.Request(1));

    EXPECT_FALSE(line.MayBegin(0));
    Begin(line, 1);
    EXPECT_FALSE(line.Request(1)) << "it is busy";
    line.RequestAll();
    EXPECT_TRUE(line.MayBegin(0));
    EndGood(line, 1);
    EXPECT_FALSE(line.MayBegin(1)) << "it was busy when all were asked for";
}

TEST(ALineThatIsAsked, TakesAStoppedSlotByItsNameAlone) {
    Line line(TwoSlots(StartMode::Command, std::nullopt));
    line.SlotAt(0).Stop("another chip's address");
    line.SlotAt(1).Stop("another chip's address");

    line.RequestAll();
    EXPECT_FALSE(line.MayBegin(0));
    EXPECT_FALSE(line.IsOver()) << "somebody may look at the chip";

    EXPECT_TRUE(line.Request(0));
    EXPECT_TRUE(line.MayBegin(0));
}

TEST(ALineThatIsAsked, IsOverWhenNobodyCanAskAnyMore) {
    Line line(TwoSlots(StartMode::Command, std::nullopt));
    line.Request(0);

    line.EndWithRequests();

    EXPECT_FALSE(line.IsOver()) << "one chip was asked for";
    Begin(line, 0);
    EndGood(line, 0);
    EXPECT_TRUE(line.IsOver());
}

TEST(ALineThatIsAsked, KeepsASlotWithBadChips) {
    Line line(TwoSlots(StartMode::Key, std::nullopt));
    for (int i = 0; i < 5; ++i) {
        line.Request(0);
        Begin(line, 0);
        EndBad(line, 0);
    }

    EXPECT_EQ(line.SlotAt(0).State(), SlotState::Waiting) << "whoever asks has seen them";
}

TEST(ALine, FindsASlotByItsName) {
    const Line line(TwoSlots(StartMode::Command, std::nullopt));

    EXPECT_EQ(line.FindSlot("right"), 1u);
    EXPECT_EQ(line.FindSlot("Right"), std::nullopt);
}

}  // namespace
}  // namespace flash::host::line
