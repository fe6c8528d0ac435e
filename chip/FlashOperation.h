// One operation of the flash controller on its way, and what the faults that strike it make of it.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "chip/Controller.h"
#include "chip/MemoryMap.h"
#include "chip/VirtualChip.h"

namespace flash::chip {

using UnitWords = std::array<std::uint32_t, kMostUnitWords>;

enum class Outcome : std::uint8_t { Complete, Torn, Nothing };

struct FlashOperation {
    EventKind kind = EventKind::EraseSector;
    std::uint32_t address = 0;
    UnitWords data = {};
    Nanoseconds start{0};
    Nanoseconds end{0};
    Outcome outcome = Outcome::Complete;
    bool breaksRule = false;  // ends with the status "operation failed" even when complete
    bool saysReadyEarly = false;
    bool neverEnds = false;
    bool losesPowerAtEnd = false;
};

// Power that is lost at once leaves nothing of the operation.
ControllerSignals Strike(FlashOperation& started, const std::vector<Fault>& faults);

}  // namespace flash::chip
