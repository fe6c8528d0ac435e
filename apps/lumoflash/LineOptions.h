// The command line of `line`.
#pragma once

#include <CLI/CLI.hpp>

#include "apps/lumoflash/Options.h"
#include "apps/lumoflash/PoolOptions.h"

namespace flash::app {

void AddLine(CLI::App& app, const CommandAdder& addCommand, Options& options);

}  // namespace flash::app
