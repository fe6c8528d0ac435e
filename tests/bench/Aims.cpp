#include "tests/bench/Aims.h"

#include <fmt/format.h>

namespace flash::bench {
namespace {

struct Aim {
    const char* name;
    const char* against;
    double leastGain[3];  // by `LinkSpeed`; 0 for none
};

constexpr Aim kAims[] = {
    {"same again", "first load", {10, 10, 10}},
    {"one sector", "first load", {8, 6, 8}},
    {"four bytes inserted", "--write all", {1 / 1.05, 1 / 1.05, 1 / 1.05}},
    {"blank chip", "--write all", {1 / 1.03, 1 / 1.03, 1 / 1.03}},
    {"verify", "verify by link", {8, 8, 0}},
};

constexpr double kMostOfFlashOnTheLink = 0.01;  // when nothing is to be written

}  // namespace

std::vector<std::string> MissedAims(const CaseResult& result, LinkSpeed speed, std::uint64_t flashBytes) {
    std::vector<std::string> missed;
    const auto require = [&](bool isReached, const std::string& what) {
        if (!isReached) {
            missed.push_back(
                fmt::format("{} at {} B/s, {}: {}", result.device, result.linkBytesPerSecond, result.name, what));
        }
    };
    for (const Aim& aim : kAims) {
        const double least = aim.leastGain[static_cast<std::size_t>(speed)];
        if (result.name == aim.name && result.against == aim.against) {
            require(result.Gain() >= least, fmt::format("{:.3f} times as fast as {}, at least {:.3f} is wanted",
                                                        result.Gain(), aim.against, least));
        }
    }
    if (result.name == "same again") {
        const auto most = static_cast<std::uint64_t>(kMostOfFlashOnTheLink * static_cast<double>(flashBytes));
        require(result.linkBytes <= most, fmt::format("{} bytes on the link, at most {}", result.linkBytes, most));
        require(result.sectorErases + result.wordsProgrammed == 0, "flash was touched");
    }
    require(result.name != "one sector" || result.sectorErases == 1, "another sector was erased, too");
    return missed;
}

}  // namespace flash::bench
