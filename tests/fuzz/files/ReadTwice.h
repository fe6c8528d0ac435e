// A file of records, read by the host and by a second reader, line by line.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "tests/fuzz/FuzzTarget.h"
#include "tests/fuzz/files/ByteMap.h"
#include "tests/fuzz/files/TextCursor.h"

namespace flash::fuzz {

// What a file of records means, line by line, to a reader whose `State` has `map` and `hasEnded`. Null for a file that
// has a bad line, or no end.
template <typename State, typename TakeLine>
std::optional<decltype(State::map)> ReadLines(std::string_view text, TakeLine takeLine) {
    State state;
    for (const std::string_view line : LinesOf(text)) {
        if (!line.empty() && !takeLine(line, state)) {
            return std::nullopt;
        }
    }
    return state.hasEnded ? std::optional(state.map) : std::nullopt;
}

// What `read` makes of the file, null when it refuses: the second reader must find the same.
template <typename State, typename Read, typename TakeLine>
std::optional<ByteMap> ReadTwice(std::span<const std::uint8_t> file, const char* name, Read read, TakeLine takeLine) {
    auto first = MapOrRefusal(name, file.size(), [&] { return read(file, name); });
    const auto second = ReadLines<State>({reinterpret_cast<const char*>(file.data()), file.size()}, takeLine);
    FuzzRequire(first == second, "the second reader agrees");
    return first;
}

}  // namespace flash::fuzz
