// The library that reads TOML calls itself for every level of nesting, and a file may ask for more levels than there is
// stack. So the levels are counted before.
#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

namespace flash::app {

// The number of the first line, from 1, in which arrays, inline tables or the parts of a dotted key are nested deeper
// than any configuration needs; nothing when there is none. In a text that is no TOML it sees all that comes before the
// mistake.
std::optional<std::size_t> LineNestedTooDeeply(std::string_view text);

}  // namespace flash::app
