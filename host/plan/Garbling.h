// Programming without erasing only clears bits: what it cannot make of the words in flash is found before they are
// spoilt.
#pragma once

#include <cstdint>
#include <optional>

#include "host/plan/WritePlan.h"

namespace flash::host {

// Throws BadInput (Erase) with the first word that would not become what the plan says, and how many more. From
// `keptCcfgAddress` on the chip's own bytes are put back, so that they do not count.
void RefuseGarbling(const WritePlan& plan, const std::optional<std::uint32_t>& keptCcfgAddress,
                    const ReadFlash& readFlash);

}  // namespace flash::host
