#include "flashdevice/device/NumberText.h"

#include <limits>
#include <stdexcept>

namespace flash {
namespace {

constexpr std::uint64_t kTooLarge = std::uint64_t{1} << 32;

struct SignedDigits {
    bool isNegative = false;
    std::string_view digits;
};

SignedDigits SkipWhiteSpaceAndSign(std::string_view text) {
    while (!text.empty() && IsWhiteSpace(text.front())) {
        text.remove_prefix(1);
    }
    SignedDigits result;
    if (!text.empty() && (text.front() == '-' || text.front() == '+')) {
        result.isNegative = text.front() == '-';
        text.remove_prefix(1);
    }
    result.digits = text;
    return result;
}

// A prefix counts only before a digit: "0x" alone is the number 0.
std::string_view SkipHexPrefix(std::string_view text) {
    const bool hasPrefix =
        text.size() >= 3 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X') && DigitValue(text[2]) < 16;
    return hasPrefix ? text.substr(2) : text;
}

// The value of the leading digits, `kTooLarge` for all that do not fit 32 bits.
std::uint64_t ParseMagnitude(std::string_view digits, std::uint32_t base) {
    std::uint64_t value = 0;
    for (const char character : digits) {
        const std::uint32_t digit = DigitValue(character);
        if (digit >= base) {
            break;
        }
        value = value * base + digit;
        if (value >= kTooLarge) {
            return kTooLarge;
        }
    }
    return value;
}

}  // namespace

bool IsWhiteSpace(char character) { return character == ' ' || (character >= '\t' && character <= '\r'); }

std::uint32_t DigitValue(char character) {
    if (character >= '0' && character <= '9') {
        return static_cast<std::uint32_t>(character - '0');
    }
    if (character >= 'a' && character <= 'f') {
        return static_cast<std::uint32_t>(character - 'a') + 10;
    }
    if (character >= 'A' && character <= 'F') {
        return static_cast<std::uint32_t>(character - 'A') + 10;
    }
    return 16;
}

std::uint32_t ParseUnsigned(std::string_view text, std::uint32_t base) {
    const SignedDigits number = SkipWhiteSpaceAndSign(text);
    const std::uint64_t magnitude = ParseMagnitude(base == 16 ? SkipHexPrefix(number.digits) : number.digits, base);
    if (magnitude == kTooLarge) {
        return std::numeric_limits<std::uint32_t>::max();
    }
    const auto value = static_cast<std::uint32_t>(magnitude);
    return number.isNegative ? 0U - value : value;
}

std::int32_t ParseInteger(std::string_view text) {
    const SignedDigits number = SkipWhiteSpaceAndSign(text);
    if (number.digits.empty() || DigitValue(number.digits.front()) >= 10) {
        throw std::invalid_argument("invalid stoi argument");
    }
    const auto magnitude = static_cast<std::int64_t>(ParseMagnitude(number.digits, 10));
    const std::int64_t value = number.isNegative ? -magnitude : magnitude;
    if (value < std::numeric_limits<std::int32_t>::min() || value > std::numeric_limits<std::int32_t>::max()) {
        throw std::out_of_range("stoi argument out of range");
    }
    return static_cast<std::int32_t>(value);
}

}  // namespace flash
