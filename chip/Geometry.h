// The sizes of the two generations, and settings made whole.
#pragma once

#include <cstdint>

#include "chip/VirtualChip.h"

namespace flash::chip {

std::uint32_t SectorSizeOf(Generation generation);

// Fills in what the settings leave to the generation. Throws `ChipError` for settings that make no chip.
Settings Completed(Settings settings);

}  // namespace flash::chip
