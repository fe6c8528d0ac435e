// How long it takes to program and to verify what a chip holds already, all of it or in part, against the same with
// every sector written, or everything read.
#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "tests/bench/LoadBench.h"

namespace flash::bench {

struct CaseResult {
    std::string device;
    std::uint64_t linkBytesPerSecond;
    std::string name;
    Seconds time;
    std::string against;  // the name of what it is compared with
    Seconds otherTime;
    std::uint64_t linkBytes;     // over the link, both ways
    std::uint64_t besidesData;   // of these, what is no chunk: routine, flashloader, blocks, questions and answers
    std::uint64_t sectorErases;  // what wears flash
    std::uint64_t wordsProgrammed;

    double Gain() const { return otherTime / time; }
};

std::vector<CaseResult> MeasureChangedLoads(const Installed& installed, const host::DeviceDescription& device,
                                            std::uint64_t bytesPerSecond);

void PrintTable(const std::vector<CaseResult>& results);
nlohmann::json AsJson(const CaseResult& result);

}  // namespace flash::bench
