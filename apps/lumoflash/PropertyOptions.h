// Host properties as they are typed: KEY=VALUE.
#pragma once

#include <map>
#include <string>

#include "apps/lumoflash/RawOptions.h"

namespace flash::app {

// Throws Failure (BadInput) for a text that sets no known property to a value that it can have. `source` is where it
// stands.
void CheckProperty(const std::string& text, const std::string& source);

// By key. The command line wins over the file, and of one source the unchecked ones, and the later ones. Throws Failure
// (BadInput).
std::map<std::string, std::string> ReadProperties(const RawOptions& raw);

}  // namespace flash::app
