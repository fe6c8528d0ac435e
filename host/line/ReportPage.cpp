// The page: figures, three pictures, tables. Each figure that a program may want has an `id`.
#include <fmt/format.h>

#include <algorithm>

#include "host/line/Report.h"
#include "host/picture/Markup.h"

namespace flash::host::line {
namespace {

constexpr const char* kStyle = R"(
:root{color-scheme:light dark;--good:#1a7f37;--bad:#cf222e;--line:#8884;--bar:#0969da}
body{font:16px/1.5 system-ui,sans-serif;margin:2rem auto;max-width:72rem;padding:0 1rem}
h1{margin-bottom:0}h2{margin-top:2rem;border-bottom:1px solid var(--line)}
.tiles{display:flex;flex-wrap:wrap;gap:1rem;margin:1.5rem 0}.tile{border:1px solid var(--line);border-radius:.5rem;padding:.5rem 1.5rem}
.tile b{display:block;font-size:2.4rem;line-height:1.2}.good{color:var(--good)}.bad{color:var(--bad)}
table{border-collapse:collapse}th,td{text-align:left;padding:.15rem .8rem .15rem 0;border-bottom:1px solid var(--line);vertical-align:top}
td.n{text-align:right;font-variant-numeric:tabular-nums}.wide{overflow-x:auto}.wide table{font-size:.8rem;white-space:nowrap}
svg text{font:12px system-ui,sans-serif;fill:currentColor}small{opacity:.7})";

std::string Percent(const Tally& tally) { return tally.Total() == 0 ? "-" : fmt::format("{:.1f} %", tally.Yield()); }

std::string Tile(const std::string& id, const std::string& value, const std::string& name, const std::string& kind) {
    return fmt::format("<div class=\"tile\"><b id=\"{}\" class=\"{}\">{}</b>{}</div>\n", id, kind, value, name);
}

std::string Tiles(const Report& report) {
    const Tally runs = report.Runs(), chips = report.Chips();
    return "<div class=\"tiles\">\n" + Tile("runs", std::to_string(runs.Total()), "runs", "") +
           Tile("good", std::to_string(runs.good), "good", "good") +
           Tile("bad", std::to_string(runs.bad), "bad", runs.bad == 0 ? "" : "bad") +
           Tile("yield", Percent(runs), "yield of runs", "") +
           Tile("chips", std::to_string(chips.Total()), "chips known by their identity", "") +
           Tile("chips-good", std::to_string(chips.good), "of them good in the end", "good") +
           Tile("median", fmt::format("{:.2f} s", report.SecondsOf(50)), "half of the good runs took no longer", "") +
           Tile("slowest", fmt::format("{:.2f} s", report.SecondsOf(100)), "the slowest one", "") + "</div>\n";
}

// Bars from left to right, good ones at the bottom and bad ones on top.
struct Bar {
    std::string name;
    std::uint64_t good, bad;
};

std::string Rectangle(double left, double top, double width, double height, const char* color) {
    return fmt::format("<rect x=\"{:.1f}\" y=\"{:.1f}\" width=\"{:.1f}\" height=\"{:.1f}\" fill=\"var(--{})\"/>", left,
                       top, width, height, color);
}

std::string Bars(const std::vector<Bar>& bars, const char* color, const std::string& meaning) {
    constexpr double kWidth = 1000, kHeight = 160, kLeft = 60, kTop = 10, kBelow = 24;
    if (bars.empty()) {
        return "<p>nothing yet</p>\n";
    }
    std::uint64_t most = 1;
    for (const Bar& bar : bars) {
        most = std::max(most, bar.good + bar.bad);
    }
    const double step = (kWidth - kLeft) / static_cast<double>(bars.size()),
                 scale = kHeight / static_cast<double>(most);
    std::string svg = fmt::format("<svg viewBox=\"0 0 {} {}\" width=\"100%\" role=\"img\" aria-label=\"{}\">\n", kWidth,
                                  kTop + kHeight + kBelow, XmlText(meaning));
    svg += fmt::format(
        "<text x=\"{}\" y=\"{}\" text-anchor=\"end\">{}</text><text x=\"{}\" y=\"{}\" text-anchor=\"end\">0</text>\n",
        kLeft - 8, kTop + 10, most, kLeft - 8, kTop + kHeight);
    const std::size_t each = (bars.size() + 11) / 12;  // names that fit below
    for (std::size_t i = 0; i < bars.size(); ++i) {
        const Bar& bar = bars[i];
        const double left = kLeft + static_cast<double>(i) * step, wide = std::min(step * 0.9, 120.0);
        const double good = static_cast<double>(bar.good) * scale, bad = static_cast<double>(bar.bad) * scale;
        svg += fmt::format("<g><title>{}: {} good, {} bad</title>", XmlText(bar.name), bar.good, bar.bad) +
               Rectangle(left, kTop + kHeight - good, wide, good, color) +
               Rectangle(left, kTop + kHeight - good - bad, wide, bad, "bad") + "</g>\n";
        if (i % each == 0) {
            svg += fmt::format("<text x=\"{:.1f}\" y=\"{}\">{}</text>\n", left, kTop + kHeight + 16, XmlText(bar.name));
        }
    }
    return svg + "</svg>\n";
}

std::string DayBars(const Report& report) {
    std::vector<Bar> bars;
    for (const auto& [day, tally] : report.Days()) {
        bars.push_back({day, tally.good, tally.bad});
    }
    return "<h2>Chips by day</h2>\n" + Bars(bars, "good", "good and bad runs by day");
}

std::string TimeBars(const Report& report) {
    std::vector<Bar> bars;
    for (const TimeBin& bin : report.TimeBins()) {
        bars.push_back({fmt::format("{:.4g} s", bin.untilSeconds), bin.count, 0});
    }
    return "<h2>Times of good runs, up to</h2>\n" + Bars(bars, "bar", "good runs by their time");
}

// Lying bars, so that the words have room.
std::string Causes(const Report& report) {
    const auto causes = report.Causes();
    std::string rows;
    for (const auto& [cause, count] : causes) {
        const double length = 300.0 * static_cast<double>(count) / static_cast<double>(causes.front().second);
        rows += fmt::format(
            "<tr><td class=\"n\">{}</td><td><svg width=\"300\" height=\"14\">{}</svg></td><td>{}</td></tr>\n", count,
            Rectangle(0, 0, length, 14, "bad"), XmlText(cause));
    }
    return "<h2>Causes</h2>\n" +
           (rows.empty() ? "<p>no chip was bad</p>\n" : "<table id=\"causes\">\n" + rows + "</table>\n");
}

std::string Tallies(const std::string& title, const std::string& id, const std::map<std::string, Tally>& tallies) {
    std::string rows;
    for (const auto& [name, tally] : tallies) {
        rows +=
            fmt::format("<tr><td>{}</td><td class=\"n\">{}</td><td class=\"n\">{}</td><td class=\"n\">{}</td></tr>\n",
                        XmlText(name), tally.good, tally.bad, Percent(tally));
    }
    return fmt::format(
        "<h2>{}</h2>\n<table id=\"{}\"><tr><th></th><th>good</th><th>bad</th><th>yield</th></tr>\n{}</table>\n", title,
        id, rows);
}

std::string PoolTable(const PoolCounts& pool) {
    constexpr AddressState kStates[] = {AddressState::Free, AddressState::Leased, AddressState::Confirmed,
                                        AddressState::Burned};
    std::string rows;
    for (const auto& [kind, counts] : pool) {
        rows += fmt::format("<tr><td>{}</td>", KindName(kind));
        for (const AddressState state : kStates) {
            const auto count = counts.find(state);
            rows += fmt::format("<td class=\"n\">{}</td>", count == counts.end() ? 0 : count->second);
        }
        rows += "</tr>\n";
    }
    return rows.empty() ? ""
                        : "<h2>Pool of addresses</h2>\n<table id=\"pool\"><tr><th></th><th>FREE</th><th>LEASED</th>"
                          "<th>CONFIRMED</th><th>BURNED</th></tr>\n" +
                              rows + "</table>\n";
}

std::string Records(const Report& report) {
    std::string rows;
    for (auto record = report.Last().rbegin(); record != report.Last().rend(); ++record) {
        rows += fmt::format(
            "<tr><td>{}</td><td class=\"{}\">{}</td><td>{}</td><td>{}</td><td>{}</td><td>{}, {}</td><td>{}</td>"
            "<td class=\"n\">{:.2f}</td><td>{}</td></tr>\n",
            XmlText(record->start), record->isGood ? "good" : "bad", record->isGood ? "good" : "bad",
            XmlText(record->chip), XmlText(record->ieee), XmlText(record->ble), XmlText(record->station),
            XmlText(record->slot), XmlText(record->operatorName), record->seconds, XmlText(record->cause));
    }
    const std::string left =
        report.Runs().Total() > report.Last().size()
            ? fmt::format("<p>The last {} of {} runs.</p>\n", report.Last().size(), report.Runs().Total())
            : "";
    return "<h2>Runs, the last one first</h2>\n" + left +
           "<div class=\"wide\"><table "
           "id=\"records\"><tr><th>start</th><th>verdict</th><th>chip</th><th>IEEE</th><th>BLE</th>"
           "<th>place</th><th>operator</th><th>seconds</th><th>cause</th></tr>\n" +
           rows + "</table></div>\n";
}

}  // namespace

std::string PrintReport(const Report& report, const ReportFrame& frame) {
    const std::string head = fmt::format(
        "<!DOCTYPE html>\n<html lang=\"en\"><head><meta charset=\"utf-8\"><title>Line report</title>\n"
        "<meta name=\"viewport\" content=\"width=device-width\"><style>{}</style></head>\n<body>\n"
        "<h1>Line report</h1>\n<small>{}, {}</small>\n",
        kStyle, XmlText(frame.database), XmlText(frame.written));
    return head + Tiles(report) + DayBars(report) + TimeBars(report) + Causes(report) +
           Tallies("Places", "places", report.Places()) + Tallies("Parts", "parts", report.Parts()) +
           PoolTable(frame.pool) + Records(report) + "</body></html>\n";
}

}  // namespace flash::host::line
