// The commands of `monitor` that work on the chip's flash, in the words that the command line has for them.
#pragma once

#include <string>

#include "apps/lumoflash/Options.h"
#include "host/session/Connection.h"

namespace flash::app {

// Of all commands, those of the server included.
std::string MonitorHelp();

// Returns the output. Throws std::invalid_argument for a command that there is not, Failure for one that fails.
std::string RunMonitorCommand(const std::string& command, host::Connection& connection, const Options& options);

}  // namespace flash::app
