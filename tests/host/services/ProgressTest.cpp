// Stages, told to an observer with bytes and times.
#include "host/services/Progress.h"

#include <gtest/gtest.h>

#include "tests/host/support/FakeProbe.h"
#include "tests/host/support/RecordingObserver.h"

namespace flash::host {
namespace {

using Lines = std::vector<std::string>;

class AProgress : public testing::Test {
protected:
    void Pass(int seconds) { probe.now += std::chrono::seconds(seconds); }

    FakeProbe probe;
    RecordingObserver observer;
    Progress progress{observer, probe};
};

TEST_F(AProgress, TellsHowAStageGoesOnInBytesAndTime) {
    Pass(5);
    progress.Start(Stage::Read, 300);
    Pass(1);
    progress.Advance(100);
    Pass(2);
    progress.Advance(50);
    Pass(4);
    progress.Finish();

    EXPECT_EQ(observer.stages, (Lines{"start read 300", "at read 100", "at read 150", "end read 150"}));
    using std::chrono::seconds;
    EXPECT_EQ(observer.elapsed, (std::vector<std::chrono::nanoseconds>{seconds(1), seconds(3), seconds(7)}));
}

TEST_F(AProgress, FinishesOneStageBeforeTheNext) {
    progress.Start(Stage::Erase, 10);
    EXPECT_TRUE(progress.IsIn(Stage::Erase));

    progress.Start(Stage::Program, 20);

    EXPECT_EQ(observer.stages, (Lines{"start erase 10", "end erase 0", "start program 20"}));
    EXPECT_FALSE(progress.IsIn(Stage::Erase));
    EXPECT_TRUE(progress.IsIn(Stage::Program));
}

TEST_F(AProgress, CountsBytesThatComeWithTheEnd) {
    progress.Start(Stage::Erase, 10);
    progress.Finish(10);

    EXPECT_EQ(observer.stages, (Lines{"start erase 10", "end erase 10"}));
}

TEST_F(AProgress, OutsideOfAStageTellsNothing) {
    progress.Advance(1);
    progress.Finish();
    progress.Start(Stage::Close, 0);
    progress.Finish();
    progress.Finish(1);

    EXPECT_EQ(observer.stages, (Lines{"start close 0", "end close 0"}));
    EXPECT_FALSE(progress.IsIn(Stage::Close));
}

TEST(StageName, IsAWordForEach) {
    const Stage stages[] = {Stage::Load, Stage::Erase, Stage::Program, Stage::Verify, Stage::Read, Stage::Close};
    const char* const names[] = {"load", "erase", "program", "verify", "read", "close"};
    for (std::size_t i = 0; i < std::size(stages); ++i) {
        EXPECT_EQ(StageName(stages[i]), names[i]);
    }
}

}  // namespace
}  // namespace flash::host
