// The command `read`.
#pragma once

#include "apps/lumoflash/Options.h"
#include "apps/lumoflash/Outcome.h"

namespace flash::app {

Outcome ReadFlash(const Options& options, host::Session& session);

}  // namespace flash::app
