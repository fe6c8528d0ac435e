// Carrying out one command: connect, work, keep the virtual chip's state, tell the outcome.
#pragma once

#include <atomic>

#include "apps/lumoflash/Options.h"
#include "apps/lumoflash/View.h"

namespace flash::app {

// Returns the exit code; whatever goes wrong is told to the view.
int RunCommand(const Options& options, View& view, const std::atomic<bool>& isInterrupted);

}  // namespace flash::app
