// The commands that need no chip.
#pragma once

#include <atomic>

#include "apps/lumoflash/Locations.h"
#include "apps/lumoflash/Options.h"
#include "apps/lumoflash/Outcome.h"
#include "apps/lumoflash/View.h"

namespace flash::app {

bool IsChipless(const Options& options);

// Of such a command.
Outcome RunChipless(const Options& options, View& view, const std::atomic<bool>& isInterrupted);

// The one that was given, or the installed one.
std::filesystem::path DevicesFolderFor(const Options& options, const Locations& locations);

}  // namespace flash::app
