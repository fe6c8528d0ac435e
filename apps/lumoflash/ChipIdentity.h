// Which chip it is that a program is for.
#pragma once

#include "apps/lumoflash/Options.h"
#include "apps/lumoflash/View.h"

namespace flash::app {

// Tells other programs the chip's identity. Throws Failure (Unreachable) when the user wants another chip.
void IdentifyChip(const Options& options, host::Session& session, View& view);

}  // namespace flash::app
