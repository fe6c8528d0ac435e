// The command line of lumoflash, parsed and checked; nothing is touched yet.
#pragma once

#include <functional>
#include <optional>
#include <string>

#include "apps/lumoflash/Config.h"
#include "apps/lumoflash/Description.h"
#include "apps/lumoflash/Options.h"

namespace flash::app {

// Exactly one of the two.
struct ParsedCommandLine {
    std::optional<Options> options;
    std::optional<std::string> help;  // or the version: what to print instead of a command's work
};

// Throws Failure (BadInput) for whatever is wrong. The completion of shells asks with "__complete" and the words so
// far.
ParsedCommandLine ParseCommandLine(int argumentCount, const char* const* arguments);

// For entries that are to become options of a command later. Throws Failure (BadInput) for one that is none, or has a
// wrong value, also together with those before.
std::function<void(const ConfigEntry& entry)> MakeEntryCheck();

CommandText DescribeCommandLine();

}  // namespace flash::app
