// Options as users write them, where CLI11 by itself reads them otherwise.
#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

namespace flash::app {

// One value for each time that the option is given.
void TakeOneAtATime(CLI::Option& option);

// All words without a name.
CLI::Option& TakeAllWords(CLI::Option& option);

// On a command line or in a configuration file.
CLI::Option* AddFlag(CLI::App& command, const std::string& names, bool& isOn, const std::string& description);

// As if they were given on the command line. Throws Failure (BadInput) that begins with `source`.
void ApplyValues(CLI::Option& option, const std::vector<std::string>& values, const std::string& source);

// Throws Failure (BadInput) for "--option=".
void RequireValuesBehindEquals(const std::vector<std::string>& arguments);

}  // namespace flash::app
