// `lumoflash line report`: what the records in a database tell together, as a page.
#pragma once

#include "apps/lumoflash/Options.h"
#include "apps/lumoflash/Outcome.h"

namespace flash::app {

Outcome WriteLineReport(const LineOptions& options);

}  // namespace flash::app
