// Faults of the virtual chip as users write them: KIND@N for the n-th flash operation or transfer from now on, KIND
// alone for the next one; for a bit of flash KIND@ADDRESS:BIT. docs/virtual-chip.md tells what each does.
#pragma once

#include <string>

#include "chip/VirtualChip.h"

namespace flash::host {

// Throws BadInput for a text that is none, naming the kinds.
void ArmFault(chip::VirtualChip& chip, const std::string& text);

}  // namespace flash::host
