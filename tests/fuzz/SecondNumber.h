// The second readers' numbers: decimal, or hexadecimal after 0x, digit by digit.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace flash::fuzz {

inline std::optional<std::uint64_t> DigitsOf(std::string_view text, std::uint64_t base) {
    constexpr std::string_view kDigits = "0123456789abcdef0123456789ABCDEF";
    std::uint64_t number = 0;
    for (const char character : text) {
        const std::size_t digit = kDigits.find(character);
        if (digit == std::string_view::npos || digit % 16 >= base || number > 0xFFFF'FFFF) {
            return std::nullopt;
        }
        number = number * base + digit % 16;
    }
    return text.empty() ? std::nullopt : std::optional(number);
}

// From `least` to `most`, or nothing.
inline std::optional<std::uint32_t> SecondNumber(std::string_view text, std::uint32_t least, std::uint32_t most) {
    const bool isHexadecimal = text.substr(0, 2) == "0x" || text.substr(0, 2) == "0X";
    const auto number = isHexadecimal ? DigitsOf(text.substr(2), 16) : DigitsOf(text, 10);
    return number && *number >= least && *number <= most ? std::optional(static_cast<std::uint32_t>(*number))
                                                         : std::nullopt;
}

}  // namespace flash::fuzz
