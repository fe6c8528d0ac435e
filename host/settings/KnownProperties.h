// The properties that a user may set by name, and what may stand in them: a misspelt key or value would silently be
// none, and an option that was to save something would be off.
#pragma once

#include <string>
#include <vector>

namespace flash::host {

// The value as a plug-in reads it: "1" for "true" and "on". Throws Failure (BadInput) for a value that the property
// cannot have, naming what it can, and for an unknown key, naming the nearest known one if there is one.
std::string CheckedProperty(const std::string& key, const std::string& value);

std::vector<std::string> KnownPropertyKeys();

}  // namespace flash::host
