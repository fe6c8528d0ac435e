// Small turns of phrase that messages share.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace flash::host {

// "1 byte", "2 bytes", "2 addresses".
std::string Counted(std::uint64_t count, std::string_view noun);

// "page 3", "pages 3-5": of a list of pages as it is printed.
std::string Listed(std::string_view noun, std::string_view list);

// Control characters, and what is no UTF-8, as "\x1B": a text of someone else's can neither move a cursor nor begin a
// new line.
std::string Escaped(std::string_view text);

// The same, but for line breaks.
std::string EscapedLines(std::string_view text);

}  // namespace flash::host
