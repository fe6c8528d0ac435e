// One run of a load as one page that needs nothing else: how it ended, what was planned, where the time went, with what
// it was done. Values in, HTML out. Numbers that other programs may want are attributes, as exact as the events have
// them.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace flash::host {

struct ReportPhase {
    std::string name;
    std::uint64_t bytes;
    std::chrono::nanoseconds elapsed;
};

struct ReportSlice {
    std::chrono::nanoseconds start, end;
};

struct ReportLane {
    std::string name;
    std::vector<ReportSlice> slices;  // in order of their starts
};

using ReportFacts = std::vector<std::pair<std::string, std::string>>;  // name, value

struct RunReport {
    std::string title;
    std::string verdict;  // the command's last line, or its error
    int exitCode = 0;
    std::uint64_t bytes = 0;
    std::chrono::nanoseconds elapsed{};
    std::string picture;  // SVG; empty when it did not come to a plan
    std::vector<ReportPhase> phases;
    std::vector<ReportLane> lanes;
    ReportFacts chip, versions;
};

std::string DrawRunReport(const RunReport& report);

// Slices with less than `gap` between them joined into one, so that a picture has no more of them than can be seen.
std::vector<ReportSlice> Joined(const std::vector<ReportSlice>& slices, std::chrono::nanoseconds gap);

}  // namespace flash::host
