// The flashloader's commands in the virtual chip's timeline, one lane for each of its two blocks: each lasts from its
// posting by the probe to the core's write of its status. The chip itself knows no commands; it tells who wrote into
// the blocks.
#pragma once

#include <cstdint>

#include "chip/VirtualChip.h"

namespace flash::host {

void NameCommandLanes(chip::VirtualChip& chip);

// Until the chip loses its power; 0 ends it. Throws ChipError when two blocks cannot lie there. The chip must not be
// moved from then on.
void ShowCommands(chip::VirtualChip& chip, std::uint32_t blocks);

}  // namespace flash::host
