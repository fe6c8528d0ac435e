// What the records of a line tell together: how many chips were good, how long they took, why others were bad.
#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "host/line/PoolAddress.h"
#include "host/line/Record.h"

namespace flash::host::line {

struct Tally {
    std::uint64_t good = 0, bad = 0;

    std::uint64_t Total() const { return good + bad; }
    double Yield() const { return Total() == 0 ? 0 : 100.0 * static_cast<double>(good) / static_cast<double>(Total()); }
    bool operator==(const Tally&) const = default;
};

// Of how many there are at most so long ones: seconds of good runs.
struct TimeBin {
    double untilSeconds;
    std::uint64_t count;
    bool operator==(const TimeBin&) const = default;
};

using PoolCounts = std::map<PoolKind, std::map<AddressState, std::uint64_t>>;

class Report {
public:
    // In the order in which they were appended.
    void Add(const Record& record);

    const Tally& Runs() const { return runs; }
    Tally Chips() const;  // each by its last run; runs that could not tell their chip are left out
    const std::map<std::string, Tally>& Places() const { return places; }  // "station, slot"
    const std::map<std::string, Tally>& Parts() const { return parts; }
    const std::map<std::string, Tally>& Days() const { return days; }   // "2026-11-22"
    std::vector<std::pair<std::string, std::uint64_t>> Causes() const;  // most frequent first
    const std::deque<Record>& Last() const { return last; }             // oldest first

    // The time that so many hundredths of the good runs did not exceed; 0 without any.
    double SecondsOf(unsigned percent) const;
    std::vector<TimeBin> TimeBins() const;

    static constexpr std::size_t kMostShown = 500;

private:
    Tally runs;
    std::map<std::string, bool> chips;
    std::map<std::string, Tally> places, parts, days;
    std::map<std::string, std::uint64_t> causes;
    std::deque<Record> last;
    mutable std::vector<double> seconds;  // of good runs
};

// One page for any browser, with pictures in it and nothing from elsewhere.
struct ReportFrame {
    std::string database, written;  // its name, when the page is made
    PoolCounts pool;
};
std::string PrintReport(const Report& report, const ReportFrame& frame);

}  // namespace flash::host::line
