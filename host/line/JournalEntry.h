// The line of a journal's entry: `{"entry":{…},"sum":"…"}`.
#pragma once

#include <optional>
#include <string>

#include "host/line/Journal.h"

namespace flash::host::line {

// Without a line end.
std::string PrintEntry(const JournalEntry& entry);

// Null when the line is not as it was written.
std::optional<JournalEntry> ParseEntry(const std::string& line);

}  // namespace flash::host::line
