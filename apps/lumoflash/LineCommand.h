// The commands of `line`. `run`: many chips at once, each by a run of this program in a process of its own.
#pragma once

#include <atomic>

#include "apps/lumoflash/Options.h"
#include "apps/lumoflash/Outcome.h"

namespace flash::app {

// `run` lasts until all chips are done or the user wants an end.
Outcome RunLine(const Options& options, const std::atomic<bool>& isInterrupted);

}  // namespace flash::app
