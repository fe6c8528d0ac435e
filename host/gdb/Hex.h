// Digits on the wire: the remote protocol writes numbers most significant digit first, memory byte by byte.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace flash::host::gdb {

std::string HexOf(std::span<const std::uint8_t> bytes);
std::string HexOf(std::string_view text);

// Null for an odd number of digits, or for anything else than digits.
std::optional<std::vector<std::uint8_t>> BytesOf(std::string_view digits);

// Null for none, more than 16 digits, or anything else.
std::optional<std::uint64_t> NumberOf(std::string_view digits);

// The value of one digit, null for any other character.
std::optional<unsigned> DigitOf(char character);

}  // namespace flash::host::gdb
