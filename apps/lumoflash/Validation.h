// Judging a plug-in; there is no chip.
#pragma once

#include <atomic>

#include "apps/lumoflash/View.h"
#include "validator/ValidatePlugin.h"

namespace flash::app {

// Runs the checks, or lists them.
Outcome Validate(const validator::ValidatePluginOptions& options, View& view, const std::atomic<bool>& isInterrupted);

}  // namespace flash::app
