// The page of a run.
#include "host/picture/RunReport.h"

#include <gmock/gmock.h>

#include "tests/host/picture/LooksAs.h"

namespace flash::host {
namespace {

using std::chrono::milliseconds;
using std::chrono::nanoseconds;
using ::testing::HasSubstr;
using ::testing::Not;

RunReport Report() {
    RunReport report;
    report.title = "LumoD1F64: app.elf";
    report.verdict = "programmed and verified by CRC";
    report.bytes = 8192;
    report.elapsed = milliseconds(1500);
    report.picture = "<svg id=\"map\"></svg>";
    report.phases = {{"erase", 4096, milliseconds(20)}, {"program", 8192, nanoseconds(1'234'567'890)}};
    report.lanes = {{"debug link", {{milliseconds(1), milliseconds(2)}, {milliseconds(5), milliseconds(9)}}}};
    report.chip = {{"Flash", "64 KB (16 sectors)"}};
    report.versions = {{"lumoflash", "0.2.0"}};
    return report;
}

TEST(RunReport, HasTheNumbersOfTheRunExactly) {
    const std::string page = DrawRunReport(Report());

    EXPECT_THAT(page, HasSubstr("data-exit-code=\"0\" data-bytes=\"8192\" data-seconds=\"1.5\">Done: programmed and"));
    EXPECT_THAT(page, HasSubstr("data-phase=\"program\" data-bytes=\"8192\" data-seconds=\"1.23456789\""));
    EXPECT_THAT(page, HasSubstr(">6.5 KiB/s<"));
    EXPECT_THAT(page, HasSubstr("<svg id=\"map\"></svg>"));
    EXPECT_THAT(page, HasSubstr(">debug link</text>"));
    EXPECT_THAT(page, HasSubstr("64 KB (16 sectors)"));
}

TEST(RunReport, LooksAsItWasFoundGood) { ExpectLooksAs("report.html", DrawRunReport(Report())); }

TEST(RunReport, NeedsNothingElse) {
    const std::string page = DrawRunReport(Report());

    for (const char* reference : {"src=", "href=", "url(http", "@import", "<script", "<link"}) {
        EXPECT_THAT(page, Not(HasSubstr(reference)));
    }
}

TEST(RunReport, OfAFailureLeavesOutWhatThereIsNot) {
    RunReport report;
    report.title = "<b>";
    report.verdict = "Cannot <identify>\nthe chip";
    report.exitCode = 4;

    const std::string page = DrawRunReport(report);

    EXPECT_THAT(page, HasSubstr("class=\"verdict failed\" data-exit-code=\"4\""));
    EXPECT_THAT(page, HasSubstr("Failed: Cannot &lt;identify&gt;\nthe chip</p>"));
    EXPECT_THAT(page, HasSubstr("<h1>&lt;b&gt;</h1>"));
    for (const char* section : {"Plan", "Time", "Timeline", "Chip", "Versions"}) {
        EXPECT_THAT(page, Not(HasSubstr(std::string("<h2>") + section)));
    }
}

TEST(Joined, SlicesThatCannotBeToldApartBecomeOne) {
    const auto slice = [](int start, int end) { return ReportSlice{nanoseconds(start), nanoseconds(end)}; };

    const std::vector<ReportSlice> joined =
        Joined({slice(0, 10), slice(14, 20), slice(25, 30), slice(26, 28)}, nanoseconds(5));

    ASSERT_EQ(joined.size(), 2U);
    EXPECT_EQ(joined[0].end, nanoseconds(20));
    EXPECT_EQ(joined[1].start, nanoseconds(25));
    EXPECT_EQ(joined[1].end, nanoseconds(30));
}

}  // namespace
}  // namespace flash::host
