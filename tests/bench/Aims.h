// How fast loads must be. Times are the virtual chip's, the same on every machine, so that what is missed has been lost
// by a change.
#pragma once

#include <string>
#include <vector>

#include "tests/bench/ChangedLoads.h"

namespace flash::bench {

// Of the link, against that of flash.
enum class LinkSpeed { Slow, Balanced, Fast };

// What a case misses, in words.
std::vector<std::string> MissedAims(const CaseResult& result, LinkSpeed speed, std::uint64_t flashBytes);

}  // namespace flash::bench
