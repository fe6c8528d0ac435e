// The commands of `pool`.
#pragma once

#include "apps/lumoflash/Options.h"
#include "apps/lumoflash/Outcome.h"
#include "apps/lumoflash/View.h"

namespace flash::app {

// Those that need no chip; reconcile, too, with the journal alone.
Outcome RunPool(const PoolOptions& options, Command command, View& view);

// Besides, with what the chip carries.
Outcome ReconcileWithChip(const PoolOptions& options, host::Connection& connection, View& view);

}  // namespace flash::app
