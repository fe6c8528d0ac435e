// Numbers as users, descriptions and the target write them.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

namespace flash::host {

// Digits and nothing else, at least one, of a value below 2^32.
std::optional<std::uint32_t> ParseDecimal(std::string_view digits);
std::optional<std::uint32_t> ParseHexadecimal(std::string_view digits);

// Hexadecimal behind "0x" or "0X", else decimal.
std::optional<std::uint32_t> ParseNumber(std::string_view text);

// The number of up to four bytes, least significant first, as the target holds it; and back.
std::uint32_t LittleEndian(std::span<const std::uint8_t> bytes);
std::array<std::uint8_t, 4> LittleEndianBytes(std::uint32_t number);

}  // namespace flash::host
