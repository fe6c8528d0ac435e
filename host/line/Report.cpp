// Sums.
#include "host/line/Report.h"

#include <algorithm>
#include <cmath>

namespace flash::host::line {
namespace {

constexpr std::size_t kDayLetters = 10;
constexpr std::size_t kMostBins = 20;

void Count(Tally& tally, bool isGood) { ++(isGood ? tally.good : tally.bad); }

// Round numbers, so that the bins' ends can be read.
double BinWidth(double most) {
    const double least = most / kMostBins;
    const double power = std::pow(10.0, std::floor(std::log10(least)));
    for (const double step : {1.0, 2.0, 5.0}) {
        if (step * power >= least) {
            return step * power;
        }
    }
    return 10 * power;
}

}  // namespace

void Report::Add(const Record& record) {
    Count(runs, record.isGood);
    Count(places[record.station + (record.slot.empty() ? "" : ", " + record.slot)], record.isGood);
    Count(parts[record.part], record.isGood);
    Count(days[record.start.substr(0, kDayLetters)], record.isGood);
    if (!record.chip.empty()) {
        chips[record.chip] = record.isGood;
    }
    if (record.isGood) {
        seconds.push_back(record.seconds);
    } else {
        ++causes[record.cause];
    }
    last.push_back(record);
    if (last.size() > kMostShown) {
        last.pop_front();
    }
}

Tally Report::Chips() const {
    Tally tally;
    for (const auto& [chip, isGood] : chips) {
        Count(tally, isGood);
    }
    return tally;
}

std::vector<std::pair<std::string, std::uint64_t>> Report::Causes() const {
    std::vector<std::pair<std::string, std::uint64_t>> sorted(causes.begin(), causes.end());
    std::ranges::stable_sort(sorted, std::greater<>(), &std::pair<std::string, std::uint64_t>::second);
    return sorted;
}

double Report::SecondsOf(unsigned percent) const {
    if (seconds.empty()) {
        return 0;
    }
    std::ranges::sort(seconds);
    const std::size_t rank = (seconds.size() * percent + 99) / 100;
    return seconds[std::max<std::size_t>(rank, 1) - 1];
}

std::vector<TimeBin> Report::TimeBins() const {
    const double most = SecondsOf(100);
    if (most <= 0) {
        return {};
    }
    const double width = BinWidth(most);
    std::vector<TimeBin> bins(static_cast<std::size_t>(std::ceil(most / width)));
    for (std::size_t i = 0; i < bins.size(); ++i) {
        bins[i].untilSeconds = static_cast<double>(i + 1) * width;
    }
    for (const double time : seconds) {
        const auto bin = static_cast<std::size_t>(std::max(std::ceil(time / width), 1.0)) - 1;
        ++bins[std::min(bin, bins.size() - 1)].count;
    }
    return bins;
}

}  // namespace flash::host::line
