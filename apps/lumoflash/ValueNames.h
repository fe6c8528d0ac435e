// What options' values are called in help and manual, and thereby what a shell offers for them (ValueKinds.h).
#pragma once

#include <CLI/CLI.hpp>

namespace flash::app {

// Names the values of the command and of those below it, where nobody has named them.
void NameValues(CLI::App& command);

}  // namespace flash::app
