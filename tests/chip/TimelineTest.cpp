// The timeline: what it shows, its hash, and its export as trace events.
#include <gmock/gmock.h>

#include <nlohmann/json.hpp>

#include "tests/chip/ChipRig.h"

namespace flash::chip {
namespace {

using std::chrono::microseconds;
using std::chrono::milliseconds;

constexpr std::uint32_t kObserved = kDataAddress;

struct Write {
    SramWrite::By by;
    std::uint32_t address;
    std::uint32_t length;
    Nanoseconds at;
    bool operator==(const Write&) const = default;
};

class TimelineTest : public ChipRig {
protected:
    std::function<void(const SramWrite&)> Noting(std::vector<Write>& writes) {
        return [&](const SramWrite& write) { writes.push_back({write.by, write.address, write.length, chip.Now()}); };
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

TEST_F(TimelineTest, TellsOfEachWriteIntoWhatIsObserved) {
    std::vector<Write> writes;
    chip.ObserveSram(kObserved, 8, Noting(writes));
    // str r0, [r1]; stmia r1!, {r0, r2, r3}; strb r0, [r1, #8]; b .
    StartCode({0x6008, 0xC10D, 0x7208, kEndlessLoop}, {1, kObserved + 4, 2, 3});
    const Nanoseconds started = chip.Now();
    chip.Pause(milliseconds(1));
    const Nanoseconds paused = chip.Now();
    chip.WriteMemory(kObserved - 4, std::vector<std::uint8_t>(4));
    chip.WriteMemory(kObserved - 3, std::vector<std::uint8_t>(4));
    chip.WriteMemory(kObserved + 8, std::vector<std::uint8_t>(4));

    const Nanoseconds cycle(20);  // and a bit
    ASSERT_EQ(writes.size(), 3U);
    EXPECT_EQ(writes[0], (Write{SramWrite::By::Core, kObserved + 4, 4, started + cycle}));
    EXPECT_EQ(writes[1], (Write{SramWrite::By::Core, kObserved + 4, 4, started + 2 * cycle + Nanoseconds(1)}));
    EXPECT_EQ(writes[2].by, SramWrite::By::Probe);
    EXPECT_EQ(writes[2].address, kObserved - 3);
    EXPECT_GT(writes[2].at, paused);
}

TEST_F(TimelineTest, ObservesUntilThePowerIsLostOrItIsEnded) {
    std::vector<Write> writes;
    chip.ObserveSram(kObserved, 4, Noting(writes));
    chip.WriteWord(kObserved, 1);
    chip.PowerCycle();
    chip.WriteWord(kObserved, 1);
    EXPECT_EQ(writes.size(), 1U);

    chip.ObserveSram(kObserved, 4, Noting(writes));
    chip.WriteWord(kObserved, 1);
    chip.ObserveSram(0, 0, {});
    chip.WriteWord(kObserved, 1);
    EXPECT_EQ(writes.size(), 2U);
}

TEST_F(TimelineTest, WhatIsObservedAreWordsInSram) {
    const std::pair<std::uint32_t, std::uint32_t> ranges[] = {
        {kSramBase + 0x5000 - 44, 48}, {kSramBase + 2, 4}, {kSramBase, 6}, {0x100, 4}};
    for (const auto& [address, length] : ranges) {
        EXPECT_THROW(chip.ObserveSram(address, length, [](const SramWrite&) {}), ChipError) << address;
    }
    chip.ObserveSram(kSramBase + 0x5000 - 48, 48, [](const SramWrite&) {});
}

TEST_F(TimelineTest, TwoLanesAreTheUsers) {
    chip.NameLane(UserLane::Second, "what I know");
    chip.Pause(microseconds(3));
    chip.AddToLane(UserLane::Second, 0x1000, 24, microseconds(1), "some work");

    const nlohmann::json events = nlohmann::json::parse(chip.TimelineJson()).at("traceEvents");

    const auto lane = std::ranges::find_if(events, [](const auto& event) { return event.value("tid", 0) == 5; });
    EXPECT_EQ(lane->at("args").at("name"), "what I know");
    EXPECT_EQ(events.back(), nlohmann::json::parse(R"({"name":"some work","ph":"X","pid":1,"tid":5,"ts":1.0,"dur":2.0,
        "args":{"address":"0x00001000","length":24}})"));
    EXPECT_TRUE(std::ranges::none_of(events, [](const auto& event) { return event.value("tid", 0) == 4; }));
    EXPECT_EQ(chip.Timeline().back().kind, EventKind::InSecondLane);
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
        shown += event.at("ph") == "M" || event.at("ph") == "C" ? 0U : 1U;
    }
    EXPECT_EQ(shown, chip.Timeline().size());
    const nlohmann::json& note = events.back();
    EXPECT_EQ(note.at("name"), "a \"note\"\n\\");
    EXPECT_EQ(note.at("ph"), "X");
    EXPECT_DOUBLE_EQ(note.at("ts").get<double>(), 1.5);
    EXPECT_DOUBLE_EQ(note.at("dur").get<double>(), 1.25);
}

TEST_F(TimelineTest, CurvesCountBytesAndWords) {
    std::vector<std::uint8_t> bytesOfSram(8);
    chip.WriteMemory(kDataAddress, bytesOfSram);
    chip.ReadMemory(kDataAddress, bytesOfSram);
    Finish(kProgramWordCode, 0x40, 0x12);
    Finish(kProgramWordCode, 0x44, 0x12);

    const nlohmann::json trace = nlohmann::json::parse(chip.TimelineJson());

    std::vector<nlohmann::json> bytes, words;
    for (const nlohmann::json& event : trace.at("traceEvents")) {
        if (event.at("ph") == "C") {
            (event.at("name") == "bytes on the link" ? bytes : words).push_back(event);
        }
    }
    ASSERT_GE(bytes.size(), 2U);
    EXPECT_EQ(bytes.back().at("args").at("written"), chip.GetCounters().bytesWritten);
    EXPECT_EQ(bytes.back().at("args").at("read"), chip.GetCounters().bytesRead);
    ASSERT_FALSE(words.empty());
    EXPECT_EQ(words.back().at("name"), "words programmed");
    EXPECT_EQ(words.back().at("args").at("words"), 2U);
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
