// Digits of both cases are read, lower case is written, as the protocol's other implementations do.
#include "host/gdb/Hex.h"

namespace flash::host::gdb {
namespace {
constexpr std::string_view kDigits = "0123456789abcdef";
constexpr std::size_t kMaxDigits = 16;
}  // namespace

std::string HexOf(std::span<const std::uint8_t> bytes) {
    std::string text;
    text.reserve(2 * bytes.size());
    for (const std::uint8_t byte : bytes) {
        text += kDigits[byte >> 4];
        text += kDigits[byte & 0xF];
    }
    return text;
}

std::string HexOf(std::string_view text) {
    return HexOf(std::span(reinterpret_cast<const std::uint8_t*>(text.data()), text.size()));
}

std::optional<unsigned> DigitOf(char character) {
    if (character >= '0' && character <= '9') {
        return static_cast<unsigned>(character - '0');
    }
    if (character >= 'a' && character <= 'f') {
        return static_cast<unsigned>(character - 'a') + 10;
    }
    if (character >= 'A' && character <= 'F') {
        return static_cast<unsigned>(character - 'A') + 10;
    }
    return std::nullopt;
}

std::optional<std::vector<std::uint8_t>> BytesOf(std::string_view digits) {
    if (digits.size() % 2 != 0) {
        return std::nullopt;
    }
    std::vector<std::uint8_t> bytes;
    bytes.reserve(digits.size() / 2);
    for (std::size_t i = 0; i < digits.size(); i += 2) {
        const auto high = DigitOf(digits[i]);
        const auto low = DigitOf(digits[i + 1]);
        if (!high || !low) {
            return std::nullopt;
        }
        bytes.push_back(static_cast<std::uint8_t>(*high << 4 | *low));
    }
    return bytes;
}

std::optional<std::uint64_t> NumberOf(std::string_view digits) {
    if (digits.empty() || digits.size() > kMaxDigits) {
        return std::nullopt;
    }
    std::uint64_t number = 0;
    for (const char character : digits) {
        const auto digit = DigitOf(character);
        if (!digit) {
            return std::nullopt;
        }
        number = number << 4 | *digit;
    }
    return number;
}

}  // namespace flash::host::gdb
