// Each part of the page is a section of its own; those without content are left out.
#include "host/picture/RunReport.h"

#include <fmt/format.h>

#include <algorithm>

#include "host/Words.h"
#include "host/picture/Markup.h"

namespace flash::host {
namespace {

using std::chrono::nanoseconds;

constexpr const char* kPageStyle = R"(<style>
body{margin:0;background:#f4f4f2;color:#1b1b1b;font:15px/1.5 'DejaVu Sans',Verdana,Arial,sans-serif}
main{max-width:1140px;margin:0 auto;padding:24px 16px}
h1{font-size:24px;margin:0 0 12px}h2{font-size:17px;margin:0 0 10px}
section{background:#fff;border:1px solid #ccc;border-radius:6px;padding:16px;margin:16px 0;overflow-x:auto}
.verdict{font-size:15px;padding:12px 16px;border-radius:6px;border-left:10px solid;white-space:pre-wrap}.verdict::first-line{font-size:17px;font-weight:bold}
.done{background:#e3f1e0;border-color:#2a7a2a}.failed{background:#fae3df;border-color:#b02a1a}
table{border-collapse:collapse;width:100%}th,td{text-align:left;padding:4px 12px 4px 0;vertical-align:top}
td.number{text-align:right;white-space:nowrap}td.bar{width:45%}.hash{overflow-wrap:anywhere}
section>svg{max-width:100%;height:auto}.bar svg{width:100%;height:14px}
th{font-weight:600;white-space:nowrap}.facts th{width:25%;min-width:12em;white-space:normal;overflow-wrap:anywhere}
</style>
)";

double SecondsOf(nanoseconds time) { return std::chrono::duration<double>(time).count(); }

std::string TimeText(nanoseconds time) {
    const double seconds = SecondsOf(time);
    return seconds < 1 ? fmt::format("{:.2f} ms", seconds * 1000) : fmt::format("{:.3f} s", seconds);
}

std::string SpeedOf(std::uint64_t bytes, nanoseconds elapsed) {
    return bytes == 0 || elapsed.count() <= 0
               ? ""
               : fmt::format("{:.1f} KiB/s", static_cast<double>(bytes) / 1024 / SecondsOf(elapsed));
}

std::string Section(std::string_view name, const std::string& content) {
    return content.empty() ? "" : fmt::format("<section>\n<h2>{}</h2>\n{}</section>\n", XmlText(name), content);
}

// The first line is what counts; the style shows the others below it.
std::string Lines(std::string_view text) {
    std::string lines;
    for (std::size_t end = text.find('\n'); end != std::string_view::npos; end = text.find('\n')) {
        lines += XmlText(text.substr(0, end)) + "\n";
        text.remove_prefix(end + 1);
    }
    return lines + XmlText(text);
}

std::string Verdict(const RunReport& report) {
    return fmt::format(
        "<p id=\"verdict\" class=\"verdict {}\" data-exit-code=\"{}\" data-bytes=\"{}\" data-seconds=\"{}\">{} "
        "{}</p>\n",
        report.exitCode == 0 ? "done" : "failed", report.exitCode, report.bytes, SecondsOf(report.elapsed),
        report.exitCode == 0 ? "Done:" : "Failed:", Lines(report.verdict));
}

std::string FactsTable(const ReportFacts& facts) {
    std::string rows;
    for (const auto& [name, value] : facts) {
        rows += fmt::format("<tr><th>{}</th><td class=\"hash\">{}</td></tr>\n", XmlText(name), XmlText(value));
    }
    return rows.empty() ? "" : "<table class=\"facts\">\n" + rows + "</table>\n";
}

// As wide as the phase's part of the longest one.
std::string Bar(nanoseconds time, nanoseconds longest) {
    constexpr double kWidth = 480, kLeastWidth = 1;
    const double width =
        longest.count() == 0 ? 0 : kWidth * static_cast<double>(time.count()) / static_cast<double>(longest.count());
    return fmt::format("<svg height=\"14\" viewBox=\"0 0 {} 14\" preserveAspectRatio=\"none\">{}</svg>",
                       Coordinate(kWidth), SvgRectangle(0, 1, std::max(width, kLeastWidth), 12, "fill=\"#0072b2\""));
}

std::string PhasesTable(const std::vector<ReportPhase>& phases) {
    nanoseconds longest{};
    for (const ReportPhase& phase : phases) {
        longest = std::max(longest, phase.elapsed);
    }
    std::string rows;
    for (const ReportPhase& phase : phases) {
        rows += fmt::format(
            "<tr class=\"phase\" data-phase=\"{0}\" data-bytes=\"{1}\" data-seconds=\"{2}\"><th>{0}</th><td "
            "class=\"bar\">{3}</td><td class=\"number\">{4}</td><td class=\"number\">{5}</td><td "
            "class=\"number\">{6}</td></tr>\n",
            XmlText(phase.name), phase.bytes, SecondsOf(phase.elapsed), Bar(phase.elapsed, longest),
            TimeText(phase.elapsed), Counted(phase.bytes, "byte"), SpeedOf(phase.bytes, phase.elapsed));
    }
    return rows.empty() ? "" : "<table>\n" + rows + "</table>\n";
}

struct Extent {
    nanoseconds start, end;
};

Extent ExtentOf(const std::vector<ReportLane>& lanes) {
    Extent extent{nanoseconds::max(), nanoseconds::min()};
    for (const ReportLane& lane : lanes) {
        for (const ReportSlice& slice : lane.slices) {
            extent.start = std::min(extent.start, slice.start);
            extent.end = std::max(extent.end, slice.end);
        }
    }
    return extent;
}

// One lane below the other over one axis of time.
class LanesPicture {
public:
    explicit LanesPicture(const std::vector<ReportLane>& drawn) : lanes(drawn), extent(ExtentOf(drawn)) {}

    std::string Draw() const {
        if (extent.end <= extent.start) {
            return "";
        }
        const double height = kLaneHeight * static_cast<double>(lanes.size()) + 24;
        std::string svg = fmt::format(
            "<svg id=\"lanes\" width=\"{0}\" height=\"{1}\" viewBox=\"0 0 {0} {1}\" "
            "role=\"img\">{2}<style>.lane{{font-size:12px}}"
            ".end{{text-anchor:end}}.middle{{text-anchor:middle}}</style>\n",
            Coordinate(kLeft + kWidth + 40), Coordinate(height), SvgTitle("What happened when"));
        double y = 0;
        for (const ReportLane& lane : lanes) {
            svg += DrawLane(lane, y);
            y += kLaneHeight;
        }
        return svg + DrawAxis(y) + "</svg>\n";
    }

private:
    static constexpr double kLeft = 150, kWidth = 900, kLaneHeight = 24;

    double XOf(nanoseconds time) const {
        return kLeft + kWidth * static_cast<double>((time - extent.start).count()) /
                           static_cast<double>((extent.end - extent.start).count());
    }

    std::string DrawLane(const ReportLane& lane, double y) const {
        constexpr double kLeastWidth = 0.6;
        std::string svg = "<g>" + SvgText(kLeft - 8, y + 16, "lane end", lane.name) +
                          SvgRectangle(kLeft, y + 3, kWidth, 18, "fill=\"#efefec\"");
        for (const ReportSlice& slice : Joined(lane.slices, (extent.end - extent.start) / static_cast<int>(kWidth))) {
            const double x = XOf(slice.start);
            svg += SvgRectangle(x, y + 3, std::max(XOf(slice.end) - x, kLeastWidth), 18, "fill=\"#0072b2\"");
        }
        return svg + "</g>\n";
    }

    std::string DrawAxis(double y) const {
        constexpr int kMarks = 4;
        std::string svg;
        for (int mark = 0; mark <= kMarks; ++mark) {
            const nanoseconds time = (extent.end - extent.start) * mark / kMarks;
            svg += SvgText(XOf(extent.start + time), y + 16, "lane middle", TimeText(time));
        }
        return svg;
    }

    const std::vector<ReportLane>& lanes;
    Extent extent;
};

}  // namespace

std::vector<ReportSlice> Joined(const std::vector<ReportSlice>& slices, nanoseconds gap) {
    std::vector<ReportSlice> joined;
    for (const ReportSlice& slice : slices) {
        if (!joined.empty() && slice.start - joined.back().end < gap) {
            joined.back().end = std::max(joined.back().end, slice.end);
        } else {
            joined.push_back(slice);
        }
    }
    return joined;
}

std::string DrawRunReport(const RunReport& report) {
    return fmt::format("<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n<title>{}</title>\n",
                       XmlText(report.title)) +
           kPageStyle + "</head>\n<body>\n<main>\n" + fmt::format("<h1>{}</h1>\n", XmlText(report.title)) +
           Verdict(report) + Section("Plan", report.picture) + Section("Time", PhasesTable(report.phases)) +
           Section("Timeline", LanesPicture(report.lanes).Draw()) + Section("Chip", FactsTable(report.chip)) +
           Section("Versions", FactsTable(report.versions)) + "</main>\n</body>\n</html>\n";
}

}  // namespace flash::host
