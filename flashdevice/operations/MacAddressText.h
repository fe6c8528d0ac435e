// A radio address as the user writes it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace flash {

// The bytes of `text` in target order, least significant first. Throws with the text that the user is to see when they
// are not `length` hexadecimal values joined by ':'.
std::vector<std::uint8_t> ParseMacAddress(const std::string& text, std::uint32_t length);

}  // namespace flash
