// Options that stand before any command, and behind it, too.
#pragma once

#include "apps/lumoflash/Options.h"
#include "apps/lumoflash/RawOptions.h"

namespace CLI {
class App;
}  // namespace CLI

namespace flash::app {

void AddGlobalOptions(CLI::App& app, Options& options, RawOptions& raw);

}  // namespace flash::app
