// Judging a plug-in; there is no chip.
#pragma once

#include <atomic>

#include "apps/lumoflash/View.h"
#include "validator/ValidatePlugin.h"

namespace flash::app {

Outcome ValidatePlugin(const validator::ValidatePluginOptions& options, View& view,
                       const std::atomic<bool>& isInterrupted);
Outcome ListChecks(View& view);

}  // namespace flash::app
