// One reader for each form.
#include "host/Numbers.h"

#include <charconv>
#include <system_error>

namespace flash::host {
namespace {

constexpr int kDecimal = 10;
constexpr int kHexadecimal = 16;

std::optional<std::uint32_t> Parse(std::string_view digits, int base) {
    std::uint32_t number = 0;
    const char* last = digits.data() + digits.size();
    const auto [end, error] = std::from_chars(digits.data(), last, number, base);
    return error == std::errc() && end == last ? std::optional(number) : std::nullopt;
}

}  // namespace

std::optional<std::uint32_t> ParseDecimal(std::string_view digits) { return Parse(digits, kDecimal); }

std::optional<std::uint32_t> ParseHexadecimal(std::string_view digits) { return Parse(digits, kHexadecimal); }

std::optional<std::uint32_t> ParseNumber(std::string_view text) {
    constexpr std::size_t kPrefixLength = 2;
    const bool isHexadecimal = text.starts_with("0x") || text.starts_with("0X");
    return isHexadecimal ? ParseHexadecimal(text.substr(kPrefixLength)) : ParseDecimal(text);
}

std::uint32_t LittleEndian(std::span<const std::uint8_t> bytes) {
    std::uint32_t number = 0;
    for (auto byte = bytes.rbegin(); byte != bytes.rend(); ++byte) {
        number = number << 8 | *byte;
    }
    return number;
}

std::array<std::uint8_t, 4> LittleEndianBytes(std::uint32_t number) {
    return {static_cast<std::uint8_t>(number), static_cast<std::uint8_t>(number >> 8),
            static_cast<std::uint8_t>(number >> 16), static_cast<std::uint8_t>(number >> 24)};
}

}  // namespace flash::host
