// The command line of lumoflash, parsed and checked; nothing is touched yet.
#pragma once

#include <optional>
#include <string>

#include "apps/lumoflash/Options.h"

namespace flash::app {

// Exactly one of the two.
struct ParsedCommandLine {
    std::optional<Options> options;
    std::optional<std::string> help;  // or the version: what to print instead of a command's work
};

// Throws Failure (BadInput) for whatever is wrong.
ParsedCommandLine ParseCommandLine(int argumentCount, const char* const* arguments);

}  // namespace flash::app
