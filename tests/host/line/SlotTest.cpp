// What each thing that happens makes of a chip in a slot.
#include "host/line/Slot.h"

#include <gtest/gtest.h>

namespace flash::host::line {
namespace {

using namespace std::chrono_literals;

constexpr TimePoint kStart{1h};

class AWorkingSlot : public testing::Test {
protected:
    AWorkingSlot() { Begin(1); }

    void Begin(std::uint64_t number) {
        ChipRun run;
        run.number = number;
        run.begun = kStart;
        slot.Begin(std::move(run), 60s);
    }

    Slot slot{{"left", "virtual"}};
};

TEST_F(AWorkingSlot, HasAGoodChipOnceTheProgramSaysSoAndEndsWell) {
    slot.Hear(AddressEvent{"secondary IEEE", "02:00:00:00:00:00:00:01"});
    slot.Hear(ResultEvent{true, 0, "programmed", false});

    EXPECT_TRUE(slot.WorkHasEnded({0, "ended with exit code 0", ""}, kStart + 2s));
    slot.Pass(kStart + 2s);

    EXPECT_EQ(slot.LastVerdict(), (Verdict{true, ""}));
    EXPECT_EQ(slot.Good(), 1u);
    EXPECT_EQ(slot.State(), SlotState::Waiting);
    EXPECT_EQ(slot.LastDuration(), 2s);
    EXPECT_EQ(slot.Run()->addresses.at("secondary IEEE"), "02:00:00:00:00:00:00:01");
}

TEST_F(AWorkingSlot, HasABadChipInEveryOtherCase) {
    struct Case {
        const char* name;
        std::optional<ResultEvent> told;
        WorkEnd end;
        const char* cause;
    };
    const Case cases[] = {
        {"the program says what is wrong",
         ResultEvent{false, 3, "sector 4 differs\nmore", false},
         {3, "ended with exit code 3", "error: sector 4 differs\n"},
         "sector 4 differs"},
        {"it says nothing and fails",
         std::nullopt,
         {2, "ended with exit code 2", "first\nerror: no such option\n"},
         "the program ended with exit code 2 without a verdict: error: no such option"},
        {"it says nothing and ends well",
         std::nullopt,
         {0, "ended with exit code 0", ""},
         "the program ended with exit code 0 without a verdict"},
        {"it says that all is well and crashes",
         ResultEvent{true, 0, "programmed", false},
         {139, "was ended by signal 11 (Segmentation fault)", ""},
         "the program was ended by signal 11 (Segmentation fault) without a verdict"},
        {"it says good and bad at once",
         ResultEvent{true, 1, "programmed", false},
         {0, "ended with exit code 0", ""},
         "the program ended with exit code 0 without a verdict"},
        {"nothing at all, and complaints of blank lines",
         std::nullopt,
         {1, "ended with exit code 1", "\n\n"},
         "the program ended with exit code 1 without a verdict"},
    };
    std::uint64_t number = 1;
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        Begin(number);
        if (c.told) {
            slot.Hear(*c.told);
        }

        EXPECT_FALSE(slot.WorkHasEnded(c.end, kStart));

        EXPECT_EQ(slot.LastVerdict(), (Verdict{false, c.cause}));
        EXPECT_EQ(slot.LastCause(), c.cause);
        EXPECT_EQ(slot.Bad(), number);
        EXPECT_EQ(slot.LastBadNumber(), number);
        EXPECT_EQ(slot.State(), SlotState::Waiting);
        ++number;
    }
    EXPECT_EQ(slot.Good(), 0u);
}

TEST_F(AWorkingSlot, StopsWhenSomebodyMustLookAtTheChip) {
    slot.Hear(ResultEvent{false, 1, "the chip carries an address of another chip", true});

    EXPECT_FALSE(slot.WorkHasEnded({1, "ended with exit code 1", ""}, kStart));

    EXPECT_EQ(slot.State(), SlotState::Stopped);
    EXPECT_EQ(slot.LastCause(), "the chip carries an address of another chip");
    EXPECT_EQ(slot.Bad(), 1u);
    slot.Reopen();
    EXPECT_EQ(slot.State(), SlotState::Waiting);
}

TEST_F(AWorkingSlot, TriesTheSameChipAgainWhileTheDatabaseIsLost) {
    slot.Hear(ResultEvent{false, 4, "the database is lost\nmore", false, true});

    EXPECT_FALSE(slot.WorkHasEnded({4, "ended with exit code 4", ""}, kStart + 1s));

    EXPECT_EQ(slot.State(), SlotState::Postponed);
    EXPECT_TRUE(slot.IsBusy()) << "the chip is in it";
    EXPECT_EQ(slot.WaitsFor(), "the database is lost");
    EXPECT_EQ(slot.Bad(), 0u);
    EXPECT_FALSE(slot.MayResumeAt(kStart + 2s));
    EXPECT_TRUE(slot.MayResumeAt(slot.NextDeadline().value()));
    Begin(1);
    EXPECT_EQ(slot.State(), SlotState::Working);
    EXPECT_EQ(slot.WaitsFor(), "");
}

TEST_F(AWorkingSlot, WaitsNoLongerThanItMay) {
    EXPECT_EQ(slot.NextDeadline(), kStart + 60s);
    EXPECT_EQ(slot.PatienceAt(kStart + 59s), Slot::Patience::Wait);
    EXPECT_EQ(slot.PatienceAt(kStart + 60s), Slot::Patience::AskToEnd);
    EXPECT_EQ(slot.PatienceAt(kStart + 64s), Slot::Patience::Wait);
    EXPECT_EQ(slot.PatienceAt(kStart + 65s), Slot::Patience::Kill);
    EXPECT_EQ(slot.PatienceAt(kStart + 69s), Slot::Patience::Wait);
    slot.Hear(ResultEvent{false, 130, "Interrupted", false});

    EXPECT_FALSE(slot.WorkHasEnded({137, "was ended by signal 9 (Killed)", ""}, kStart + 66s));

    EXPECT_EQ(slot.LastCause(), "no end within 60 s: it was ended");
    EXPECT_EQ(slot.NextDeadline(), std::nullopt);
    EXPECT_EQ(slot.PatienceAt(kStart + 10h), Slot::Patience::Wait);
}

TEST_F(AWorkingSlot, IsGoodWhenItEndsWellAfterAll) {
    EXPECT_EQ(slot.PatienceAt(kStart + 60s), Slot::Patience::AskToEnd);
    slot.Hear(ResultEvent{true, 0, "programmed", false});

    EXPECT_TRUE(slot.WorkHasEnded({0, "ended with exit code 0", ""}, kStart + 61s));
}

TEST_F(AWorkingSlot, ThatTheUserInterruptsTellsWhatTheProgramSays) {
    slot.Interrupt(kStart + 1s);
    EXPECT_EQ(slot.PatienceAt(kStart + 2s), Slot::Patience::Wait);
    EXPECT_EQ(slot.PatienceAt(kStart + 6s), Slot::Patience::Kill);
    slot.Hear(ResultEvent{false, 130, "Interrupted; flash is written in part", false});

    EXPECT_FALSE(slot.WorkHasEnded({130, "ended with exit code 130", ""}, kStart + 2s));

    EXPECT_EQ(slot.LastCause(), "Interrupted; flash is written in part");
}

TEST_F(AWorkingSlot, WhoseLabelFailsHasABadChip) {
    struct Case {
        bool isLate;
        WorkEnd end;
        const char* cause;
    };
    const Case cases[] = {
        {false,
         {1, "ended with exit code 1", "no paper\n"},
         "programmed, but its label was not made: the command ended with exit code 1: no paper"},
        {true,
         {137, "was ended by signal 9 (Killed)", ""},
         "programmed, but its label was not made: no end within 10 s"},
    };
    for (const Case& c : cases) {
        Begin(1);
        slot.Hear(ResultEvent{true, 0, "programmed", false});
        EXPECT_TRUE(slot.WorkHasEnded({0, "ended with exit code 0", ""}, kStart));
        slot.BeginLabel(kStart, 10s);
        EXPECT_EQ(slot.State(), SlotState::Labelling);
        EXPECT_TRUE(slot.IsBusy());
        EXPECT_EQ(slot.PatienceAt(kStart + (c.isLate ? 10s : 1s)),
                  c.isLate ? Slot::Patience::AskToEnd : Slot::Patience::Wait);

        slot.LabelHasEnded(c.end, kStart + 11s);

        EXPECT_EQ(slot.LastVerdict(), (Verdict{false, c.cause}));
    }
    EXPECT_EQ(slot.Good(), 0u);
}

TEST_F(AWorkingSlot, WhoseLabelIsMadeHasAGoodChip) {
    slot.Hear(ResultEvent{true, 0, "programmed", false});
    slot.WorkHasEnded({0, "ended with exit code 0", ""}, kStart);
    slot.BeginLabel(kStart, 10s);

    slot.LabelHasEnded({0, "ended with exit code 0", "a warning"}, kStart + 1s);

    EXPECT_EQ(slot.LastVerdict(), (Verdict{true, ""}));
}

TEST_F(AWorkingSlot, CountsBadChipsInARow) {
    slot.Fail("Cannot start the program\nat all", kStart);
    EXPECT_EQ(slot.LastCause(), "Cannot start the program");
    Begin(2);
    slot.Fail("again", kStart);
    EXPECT_EQ(slot.BadInARow(), 2u);

    Begin(3);
    slot.Pass(kStart);

    EXPECT_EQ(slot.BadInARow(), 0u);
    EXPECT_EQ(slot.Bad(), 2u);
    EXPECT_EQ(slot.LastCause(), "again") << "what was last wrong stays to be read";
}

TEST_F(AWorkingSlot, HearsNothingOfAChipThatIsDone) {
    slot.Fail("no program", kStart);

    slot.Hear(StageEvent{"program", 1, 2});

    EXPECT_EQ(slot.Run()->stage, StageEvent{});
}

}  // namespace
}  // namespace flash::host::line
