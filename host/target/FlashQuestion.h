// Asking the target whether flash holds what it should, by a routine that hashes it there: a few bytes over the link
// instead of all of flash.
#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <vector>

#include "host/probe/Probe.h"
#include "host/target/FlashDigest.h"
#include "host/target/Routine.h"

namespace flash::host {

// What one range of flash should hold.
struct WantedRange {
    std::uint32_t address;
    std::span<const std::uint8_t> bytes;  // never empty
};

// For each range, whether flash holds just these bytes: true is certain, false is what a routine that answers wrongly
// would say. The ranges are ascending, without overlaps. Throws RoutineError or ProbeError when there is no answer; the
// core is left halted. `drawKeys` gives new keys for each question, and there may be several.
std::vector<bool> AskWhatFlashHolds(Probe& probe, const Routine& routine, std::span<const WantedRange> wanted,
                                    const std::function<DigestKeys()>& drawKeys = DrawDigestKeys);

}  // namespace flash::host
