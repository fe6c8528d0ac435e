// What happened to the chip: counters, violations and the timeline.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "chip/VirtualChip.h"

namespace flash::chip {

class ChipLog {
public:
    explicit ChipLog(std::uint32_t sectorCount) { counters.sectorErases.resize(sectorCount); }

    void Add(Event event) { timeline.push_back(std::move(event)); }
    void AddInstant(EventKind kind, Nanoseconds at, std::uint32_t address = 0, std::uint32_t value = 0,
                    std::string text = {});
    void AddViolation(Violation violation, std::uint32_t address, Nanoseconds at);

    std::uint64_t Count(Violation violation) const { return counters.violations[static_cast<std::size_t>(violation)]; }

    Counters counters;
    std::vector<Event> timeline;
    std::array<std::string, 2> laneNames;  // of the user's lanes; a lane without a name is not announced
};

// The timeline as Chrome trace events, one lane each for the link, the flash, the core, the host and the supply, and
// the user's two.
std::string TraceJson(const ChipLog& log);

std::uint64_t HashOf(const std::vector<Event>& timeline);

}  // namespace flash::chip
