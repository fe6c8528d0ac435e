// The timeline: what it shows, its hash, and its export as trace events.
#include <gmock/gmock.h>

#include <nlohmann/json.hpp>

#include "tests/chip/ChipRig.h"

namespace flash::chip {
namespace {

using std::chrono::microseconds;
using std::chrono::milliseconds;

constexpr std::uint32_t kBlocks = kDataAddress;

class TimelineTest : public ChipRig {
protected:
    void WriteBlock(std::uint32_t address, const std::vector<std::uint32_t>& words) {
        std::vector<std::uint8_t> bytes;
        for (const std::uint32_t word : words) {
            for (int i = 0; i < 4; ++i) {
                bytes.push_back(static_cast<std::uint8_t>(word >> (8 * i)));
            }
        }
        chip.WriteMemory(address, bytes);
    }
};

TEST_F(TimelineTest, ShowsWhenTheCoreRan) {
    RunCode({kEndlessLoop});
    const Nanoseconds atHalt = chip.Now() + microseconds(104);
    chip.Halt();

    const std::vector<Event> runs = EventsOf(EventKind::CoreRuns);
    ASSERT_EQ(runs.size(), 1U);
    EXPECT_EQ(runs[0].address, kCodeAddress);
    EXPECT_EQ(runs[0].end, atHalt);
    EXPECT_EQ(runs[0].end - runs[0].start, milliseconds(1) + microseconds(104));
}

TEST_F(TimelineTest, ShowsACommandFromItsPostingToItsStatus) {
    WriteBlock(kBlocks, {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0});
    chip.ObserveCommandBlocks(kBlocks);
    // subs r0, #1; bne back; str r2, [r1]; b .
    StartCode({0x3801, 0xD1FD, 0x600A, kEndlessLoop}, {48'000, kBlocks + 24 + 16, 0x104});

    WriteBlock(kBlocks + 24, {0x1000, 0x200, 3, 0, 0xFFFF'FFFF});
    const Nanoseconds posted = chip.Now();
    chip.Pause(milliseconds(5));

    EXPECT_TRUE(EventsOf(EventKind::CommandInBlock0).empty());
    const std::vector<Event> commands = EventsOf(EventKind::CommandInBlock1);
    ASSERT_EQ(commands.size(), 1U);
    EXPECT_EQ(commands[0].start, posted);
    EXPECT_GT(commands[0].end, posted);
    EXPECT_LT(commands[0].end, posted + milliseconds(2));
    EXPECT_EQ(commands[0].address, 0x1000U);
    EXPECT_EQ(commands[0].value, 0x200U);
    EXPECT_EQ(commands[0].text, "command 0x03, status 0x00000104");
}

TEST_F(TimelineTest, CommandBlocksLieInSram) {
    EXPECT_THROW(chip.ObserveCommandBlocks(kSramBase + 0x5000 - 44), ChipError);
    EXPECT_THROW(chip.ObserveCommandBlocks(kSramBase + 2), ChipError);
    EXPECT_THROW(chip.ObserveCommandBlocks(0x100), ChipError);
}

TEST_F(TimelineTest, AViolationInALoopIsCountedButDoesNotFillTheTimeline) {
    RunCode({0x6801, 0xE7FD}, {kDataAddress});  // loop: ldr r1, [r0]; b loop

    EXPECT_GT(chip.Count(Violation::CoreReadOfUnwrittenSram), 10'000U);
    EXPECT_EQ(EventsOf(EventKind::Violation).size(), 100U);
}

TEST_F(TimelineTest, ItsHashTellsLivesApart) {
    VirtualChip same{Settings{}};
    VirtualChip other{Settings{}};
    chip.Pause(milliseconds(1));
    same.Pause(milliseconds(1));
    other.Pause(milliseconds(1) + Nanoseconds(1));

    EXPECT_EQ(chip.TimelineHash(), same.TimelineHash());
    EXPECT_NE(chip.TimelineHash(), other.TimelineHash());
}

TEST_F(TimelineTest, ExportsEveryEventAsATraceEvent) {
    Finish(kProgramWordCode, 0x40, 0x12);
    Finish(kProgramWordCode, 0x41, 0x12);
    RunCode({0x4700}, {0x101});
    chip.Arm(Fault::OperationDoesNothing);
    Finish(kEraseSectorCode, 0);
    Finish(kEraseBankCode, 0);
    chip.Reset();
    chip.PowerCycle();
    chip.AddNote("a \"note\"\n\\", Nanoseconds(1500), Nanoseconds(2750));

    const nlohmann::json trace = nlohmann::json::parse(chip.TimelineJson());

    const nlohmann::json& events = trace.at("traceEvents");
    std::size_t shown = 0;
    for (const nlohmann::json& event : events) {
        EXPECT_TRUE(event.at("name").is_string());
        EXPECT_EQ(event.at("pid"), 1);
        shown += event.at("ph") == "M" ? 0U : 1U;
    }
    EXPECT_EQ(shown, chip.Timeline().size());
    const nlohmann::json& note = events.back();
    EXPECT_EQ(note.at("name"), "a \"note\"\n\\");
    EXPECT_EQ(note.at("ph"), "X");
    EXPECT_DOUBLE_EQ(note.at("ts").get<double>(), 1.5);
    EXPECT_DOUBLE_EQ(note.at("dur").get<double>(), 1.25);
}

TEST_F(TimelineTest, ATraceEventNamesAddressAndWord) {
    Finish(kProgramWordCode, 0x40, 0x12);

    const nlohmann::json trace = nlohmann::json::parse(chip.TimelineJson());

    for (const nlohmann::json& event : trace.at("traceEvents")) {
        if (event.at("name") == "program word") {
            EXPECT_EQ(event.at("args").at("address"), "0x00000040");
            EXPECT_EQ(event.at("args").at("word"), "0x00000012");
            EXPECT_DOUBLE_EQ(event.at("dur").get<double>(), 8.0);
            return;
        }
    }
    FAIL() << "no such event";
}

}  // namespace
}  // namespace flash::chip
