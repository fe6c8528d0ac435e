// What an operation leaves in its record, and what its observer sees of it.
#include "host/services/OperationRecord.h"

#include <gtest/gtest.h>

#include "tests/host/support/FakeProbe.h"
#include "tests/host/support/FieldTexts.h"
#include "tests/host/support/RecordingObserver.h"

namespace flash::host {
namespace {

using Kind = MailboxEvent::Kind;
using Lines = std::vector<std::string>;

class ARecord : public testing::Test {
protected:
    void Take(Kind kind, std::uint64_t bytes, bool isChecked = false) {
        record.Take(MailboxEvent{kind, bytes, isChecked});
    }

    FakeProbe probe;
    RecordingObserver observer;
    OperationRecord record{observer, probe};
};

TEST_F(ARecord, CountsWhatWasProgrammedAndWhatOfItWasChecked) {
    record.Begin(Stage::Program, 0x300);
    Take(Kind::Programmed, 0x100, true);
    Take(Kind::Programmed, 0x80, false);

    EXPECT_EQ(record.ProgrammedBytes(), 0x180u);
    EXPECT_EQ(record.CheckedBytes(), 0x100u);
}

TEST_F(ARecord, ShowsOneStageOfProgrammingForManyCommands) {
    record.Begin(Stage::Program, 0x200);
    Take(Kind::ProgramStarted, 0x100);
    Take(Kind::ProgramStarted, 0x100);
    Take(Kind::Programmed, 0x100);
    Take(Kind::Programmed, 0x100);
    record.End();

    EXPECT_EQ(observer.stages, (Lines{"start program 512", "at program 256", "at program 512", "end program 512"}));
}

TEST_F(ARecord, ShowsAnEraseAsAStageOfItsOwn) {
    record.Begin(Stage::Close, 0x100);
    Take(Kind::EraseStarted, 0x1000);
    Take(Kind::Erased, 0x1000);
    Take(Kind::ProgramStarted, 0x100);
    Take(Kind::Programmed, 0x100);
    record.End();

    EXPECT_EQ(observer.stages,
              (Lines{"start erase 4096", "end erase 4096", "start close 256", "at close 256", "end close 256"}));
}

TEST_F(ARecord, WhatEndsOutsideOfItsStageIsCountedAndNotShown) {
    record.Begin(Stage::Program, 0x100);
    Take(Kind::ProgramStarted, 0x100);
    Take(Kind::EraseStarted, 0);
    Take(Kind::Programmed, 0x100);
    Take(Kind::ProgramStarted, 0x100);
    Take(Kind::Erased, 0);

    EXPECT_EQ(record.ProgrammedBytes(), 0x100u);
    EXPECT_EQ(observer.stages,
              (Lines{"start program 256", "end program 0", "start erase 0", "end erase 0", "start program 256"}));
}

TEST_F(ARecord, RemembersAFailedVerification) {
    record.Take(std::nullopt);
    EXPECT_FALSE(record.SawVerificationFailure());

    Take(Kind::VerificationFailed, 0);

    EXPECT_TRUE(record.SawVerificationFailure());
    EXPECT_TRUE(observer.stages.empty());
}

TEST_F(ARecord, PassesOnWhatThePluginSaysAndCountsItsErrorsAsComplaints) {
    record.TakeMessage("hello");
    record.TakeError("it failed");
    record.Complain("late");

    EXPECT_EQ(record.Messages(), Lines{"hello"});
    EXPECT_EQ(Plain(record.Complaints()), (Lines{"it failed", "late"}));
    EXPECT_EQ(observer.messages, Lines{"hello"});
    EXPECT_EQ(observer.errors, Lines{"it failed"});
}

TEST_F(ARecord, KeepsTheFirstServiceThatFailed) {
    EXPECT_FALSE(record.Refusal());

    record.TakeRefusal("the link failed");
    record.TakeRefusal("the core cannot be halted");

    EXPECT_EQ(record.Refusal()->Plain(), "the link failed");
}

TEST_F(ARecord, ForgetsAllWhenTheNextOperationBegins) {
    record.Begin(Stage::Program, 0x100);
    Take(Kind::ProgramStarted, 0x100);
    Take(Kind::Programmed, 0x100, true);
    Take(Kind::VerificationFailed, 0);
    record.TakeMessage("hello");
    record.Complain("late");
    record.TakeRefusal("the link failed");
    record.wasInterrupted = true;

    record.Begin(Stage::Close, 0x40);

    EXPECT_EQ(observer.stages.back(), "end program 256");
    EXPECT_EQ(record.ProgramStage(), Stage::Close);
    EXPECT_EQ(record.ProgrammedBytes(), 0u);
    EXPECT_EQ(record.CheckedBytes(), 0u);
    EXPECT_FALSE(record.SawVerificationFailure());
    EXPECT_FALSE(record.wasInterrupted);
    EXPECT_FALSE(record.Refusal());
    EXPECT_TRUE(record.Messages().empty());
    EXPECT_TRUE(record.Complaints().empty());
}

}  // namespace
}  // namespace flash::host
