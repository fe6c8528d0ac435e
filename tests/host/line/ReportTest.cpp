// What the records tell together.
#include "host/line/Report.h"

#include <gtest/gtest.h>

namespace flash::host::line {
namespace {

Record RunOf(const std::string& chip, bool isGood, double seconds, const std::string& cause = "") {
    Record record;
    record.chip = chip;
    record.isGood = isGood;
    record.seconds = seconds;
    record.cause = cause;
    record.start = "2026-11-22T07:10:41Z";
    record.station = "bench";
    record.slot = "left";
    record.part = "LumoF2F352";
    return record;
}

Report Of(const std::vector<Record>& records) {
    Report report;
    for (const Record& record : records) {
        report.Add(record);
    }
    return report;
}

TEST(AReport, CountsRunsAndEachChipByItsLastOne) {
    const Report report = Of({RunOf("A", false, 1, "no"), RunOf("A", true, 2), RunOf("B", true, 3),
                              RunOf("B", false, 1, "no"), RunOf("", false, 1, "lost")});

    EXPECT_EQ(report.Runs(), (Tally{2, 3}));
    EXPECT_EQ(report.Chips(), (Tally{1, 1})) << "A is good in the end, B is not";
    EXPECT_DOUBLE_EQ(report.Runs().Yield(), 40.0);
    EXPECT_EQ(report.Places(), (std::map<std::string, Tally>{{"bench, left", {2, 3}}}));
    EXPECT_EQ(report.Days(), (std::map<std::string, Tally>{{"2026-11-22", {2, 3}}}));
    EXPECT_EQ(report.Causes(), (std::vector<std::pair<std::string, std::uint64_t>>{{"no", 2}, {"lost", 1}}));
}

TEST(AReport, TellsTheTimesOfGoodRuns) {
    struct Case {
        std::vector<double> seconds;
        double half, most;
    };
    const Case cases[] = {{{}, 0, 0}, {{5}, 5, 5}, {{3, 1, 2}, 2, 3}, {{4, 3, 2, 1}, 2, 4}};
    for (const Case& c : cases) {
        Report report = Of({RunOf("X", false, 100, "slow")});
        for (const double seconds : c.seconds) {
            report.Add(RunOf("A", true, seconds));
        }
        EXPECT_EQ(report.SecondsOf(50), c.half);
        EXPECT_EQ(report.SecondsOf(100), c.most);
    }
}

TEST(AReport, PutsTimesIntoBinsWithRoundEnds) {
    EXPECT_TRUE(Of({}).TimeBins().empty());

    const std::vector<TimeBin> bins =
        Of({RunOf("A", true, 0.5), RunOf("B", true, 1), RunOf("C", true, 1.5), RunOf("D", true, 18)}).TimeBins();

    ASSERT_EQ(bins.size(), 18u);
    EXPECT_EQ(bins[0], (TimeBin{1, 2}));
    EXPECT_EQ(bins[1], (TimeBin{2, 1}));
    EXPECT_EQ(bins[17], (TimeBin{18, 1}));
}

TEST(AReport, KeepsTheLastRunsForItsTable) {
    Report report;
    for (int i = 0; i < 501; ++i) {
        report.Add(RunOf(std::to_string(i), true, 1));
    }

    EXPECT_EQ(report.Last().size(), 500u);
    EXPECT_EQ(report.Last().front().chip, "1");
    EXPECT_NE(PrintReport(report, {}).find("The last 500 of 501 runs."), std::string::npos);
}

TEST(PrintReport, LetsNoTextOfOthersBecomeMarkup) {
    Record record = RunOf("A", false, 1, "<script>alert(\"x\")</script> & \x1b[2J");
    record.slot = "<b>";

    const std::string page = PrintReport(Of({record}), {"sqlite:<i>", "now", {}});

    for (const char* markup : {"<script", "<b>,", "<i>", "\x1b"}) {
        EXPECT_EQ(page.find(markup), std::string::npos) << markup;
    }
    EXPECT_NE(page.find("&lt;script&gt;alert(&quot;x&quot;)&lt;/script&gt; &amp; \\x1B[2J"), std::string::npos);
}

TEST(PrintReport, HasTheFiguresWhereProgramsFindThem) {
    const std::string page = PrintReport(Of({RunOf("A", true, 1.25), RunOf("B", false, 1, "dead")}),
                                         {"sqlite:a", "now", {{PoolKind::Ieee, {{AddressState::Free, 7}}}}});

    for (const char* part :
         {"<b id=\"runs\" class=\"\">2<", "<b id=\"good\" class=\"good\">1<", "<b id=\"bad\" class=\"bad\">1<",
          "<b id=\"yield\" class=\"\">50.0 %<", "<b id=\"median\" class=\"\">1.25 s<",
          "<td>ieee</td><td class=\"n\">7</td><td class=\"n\">0</td>"}) {
        EXPECT_NE(page.find(part), std::string::npos) << part;
    }
    for (const char* fetched : {"http:", "https:", "src=", "href=", "@import", "url("}) {
        EXPECT_EQ(page.find(fetched), std::string::npos) << fetched;
    }
}

TEST(PrintReport, OfNothingIsAPageToo) {
    const std::string page = PrintReport(Report(), {"sqlite:a", "now", {}});

    EXPECT_NE(page.find("nothing yet"), std::string::npos);
    EXPECT_TRUE(page.ends_with("</body></html>\n"));
}

}  // namespace
}  // namespace flash::host::line
