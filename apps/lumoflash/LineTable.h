// A line as a picture on a terminal: how many chips are good and bad in figures that can be read from a distance, and a
// row for each slot. Pure text: what it shows is handed in.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "host/line/Line.h"

namespace flash::app {

struct TerminalSize {
    std::size_t columns = 80, rows = 24;
};

// At most so many lines, none wider than the terminal. Escape sequences color them and do nothing else.
std::vector<std::string> DrawLineTable(const host::line::Line& line, TerminalSize size, host::line::TimePoint begun,
                                       host::line::TimePoint now);

}  // namespace flash::app
