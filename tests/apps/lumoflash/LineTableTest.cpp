// A line as a picture.
#include "apps/lumoflash/LineTable.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <regex>

namespace flash::app {
namespace {

using namespace std::chrono_literals;
using host::line::ChipRun;
using host::line::Job;
using host::line::Line;
using host::line::ResultEvent;
using host::line::StageEvent;
using host::line::TimePoint;

constexpr TimePoint kStart{1h};

Line WithSlots(std::size_t count) {
    Job job;
    job.device = "LumoF2F352";
    job.paths = {"/jobs/app.elf"};
    job.count = 100;
    for (std::size_t i = 0; i < count; ++i) {
        job.slots.push_back({"slot " + std::to_string(i), "virtual"});
    }
    return Line(job);
}

void Begin(Line& line, std::size_t slot) {
    ChipRun run;
    run.number = line.TakeNumber(slot);
    run.begun = kStart;
    run.addresses["primary IEEE"] = "02:00:00:00:00:00:00:01";
    line.SlotAt(slot).Begin(std::move(run), 10s);
}

void Postpone(Line& line, std::size_t slot) {
    line.SlotAt(slot).Hear(ResultEvent{false, 4, "the database is lost", false, true});
    line.SlotAt(slot).WorkHasEnded({4, "ended with exit code 4", ""}, kStart);
}

std::vector<std::string> WithoutColors(const std::vector<std::string>& rows) {
    static const std::regex escape("\x1b\\[[0-9;]*m");
    std::vector<std::string> plain(rows.size());
    std::transform(rows.begin(), rows.end(), plain.begin(),
                   [](const std::string& row) { return std::regex_replace(row, escape, ""); });
    return plain;
}

std::vector<std::string> Drawn(const Line& line, TerminalSize size) {
    return WithoutColors(DrawLineTable(line, size, kStart, kStart + 3725s));
}

TEST(DrawLineTable, FitsEveryTerminalWithAnyNumberOfSlots) {
    for (const std::size_t slots : {1u, 2u, 8u, 13u, 64u}) {
        for (const TerminalSize size : {TerminalSize{80, 24}, {20, 5}, {1, 1}, {200, 60}, {80, 3}, {40, 24}}) {
            Line line = WithSlots(slots);
            Begin(line, 0);
            line.SlotAt(0).Fail(std::string(300, 'x'), kStart);
            const std::vector<std::string> rows = Drawn(line, size);

            EXPECT_LE(rows.size(), size.rows);
            for (const std::string& row : rows) {
                EXPECT_LE(row.size(), size.columns) << row;
            }
        }
    }
}

TEST(DrawLineTable, ShowsEachSlotWithWhatItDoes) {
    Line line = WithSlots(4);
    Begin(line, 0);
    line.SlotAt(0).Hear(StageEvent{"program", 50, 100});
    Begin(line, 1);
    line.SlotAt(1).Pass(kStart);
    Begin(line, 2);
    line.SlotAt(2).Fail("sector 4 differs", kStart);

    const std::vector<std::string> rows = Drawn(line, {80, 24});

    EXPECT_EQ(rows[0].substr(0, 20), " LumoF2F352: app.elf");
    EXPECT_EQ(rows[0].substr(52), "    3 of 100 chips  1:02:05 ");
    EXPECT_EQ(rows[9], " 1 slot 0         WORK   [########--------]  50 % program        0 good    0 bad");
    EXPECT_EQ(rows[12], " 2 slot 1         GOOD   chip 2 02:00:00:00:00:00:00:01          1 good    0 bad");
    EXPECT_EQ(rows[15], " 3 slot 2         BAD    chip 3 02:00:00:00:00:00:00:01          0 good    1 bad");
    EXPECT_EQ(rows[16].substr(0, 34), "      last cause: sector 4 differs");
    EXPECT_EQ(rows[18].substr(0, 30), " 4 slot 3         WAIT        ");
    EXPECT_EQ(rows[22].substr(0, 37), " last cause, slot 2: sector 4 differs");
    EXPECT_EQ(rows[23].substr(0, 7), " Ctrl-C");
}

TEST(DrawLineTable, ShowsTheFiguresLarge) {
    Line line = WithSlots(1);
    for (int i = 0; i < 10; ++i) {
        Begin(line, 0);
        line.SlotAt(0).Pass(kStart);
    }

    const std::vector<std::string> rows = DrawLineTable(line, {80, 24}, kStart, kStart);

    constexpr const char* kDot = "\x1b[30;42m  \x1b[0m";
    EXPECT_EQ(rows[3].substr(0, rows[3].find("\x1b[7m")),
              " " + std::string("  ") + kDot + "  " + "  " + kDot + kDot + kDot + "  " + std::string(23, ' '))
        << "the uppermost dots of 1 and 0";
}

TEST(DrawLineTable, TellsWhatWasLastWrongOfAllSlots) {
    Line line = WithSlots(8);
    Begin(line, 5);
    line.SlotAt(5).Fail("older", kStart);
    Begin(line, 1);
    line.SlotAt(1).Fail("newer", kStart);

    EXPECT_EQ(Drawn(line, {80, 24})[22].substr(0, 26), " last cause, slot 1: newer");
    line.End("the file has changed");
    EXPECT_EQ(Drawn(line, {80, 24})[22].substr(0, 21), " the file has changed");
}

TEST(DrawLineTable, TellsWhatASlotWaitsFor) {
    Line line = WithSlots(4);
    Begin(line, 1);
    Postpone(line, 1);

    EXPECT_EQ(Drawn(line, {80, 24})[12].substr(0, 45), " 2 slot 1         WAITS  the database is lost");
    EXPECT_EQ(Drawn(line, {80, 24})[22].substr(0, 43), " slot 1: chip 1 waits: the database is lost");
}

TEST(DrawLineTable, MovesNoCursorByWhatOthersSay) {
    Line line = WithSlots(1);
    Begin(line, 0);
    line.SlotAt(0).Fail("\x1b[2Jgone", kStart);

    for (const std::string& row : DrawLineTable(line, {80, 24}, kStart, kStart)) {
        EXPECT_EQ(row.find("\x1b[2J"), std::string::npos);
    }
}

}  // namespace
}  // namespace flash::app
