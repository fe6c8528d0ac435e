#include "flashdevice/operations/MacAddressText.h"

#include <algorithm>
#include <stdexcept>
#include <string_view>

#include "flashdevice/device/FlashUtil.h"
#include "flashdevice/device/NumberText.h"

namespace flash {
namespace {

std::string_view TrimWhiteSpace(std::string_view text) {
    while (!text.empty() && IsWhiteSpace(text.front())) {
        text.remove_prefix(1);
    }
    while (!text.empty() && IsWhiteSpace(text.back())) {
        text.remove_suffix(1);
    }
    return text;
}

// Digits, behind a sign or none; nothing at all stands for 0. A sign alone or behind a digit is a mistake, not a
// number.
bool IsHexadecimal(std::string_view piece) {
    piece = TrimWhiteSpace(piece);
    const bool hasSign = piece.starts_with('+') || piece.starts_with('-');
    if (hasSign) {
        piece.remove_prefix(1);
    }
    const bool isLoneSign = hasSign && piece.empty();
    return !isLoneSign && std::ranges::all_of(piece, [](char digit) { return DigitValue(digit) < 16; });
}

// The conversion of bytes stops at a character that is no digit; in an address such a character is a mistake.
std::vector<std::uint8_t> ConvertStrictly(const std::string& text) {
    if (!std::ranges::all_of(FlashUtil::SplitString(text, ':'), IsHexadecimal)) {
        throw std::runtime_error("not hexadecimal");
    }
    std::vector<std::uint8_t> bytes;
    FlashUtil::ConvertStringToByteVector(text, bytes);
    return bytes;
}

}  // namespace

std::vector<std::uint8_t> ParseMacAddress(const std::string& text, std::uint32_t length) {
    std::vector<std::uint8_t> bytes;
    try {
        bytes = ConvertStrictly(text);
    } catch (const std::runtime_error&) {
        throw std::runtime_error("Syntax error in MAC address. Expecting " + std::to_string(length) +
                                 " HEX values separated by ':'.\n");
    }
    if (bytes.size() != length) {
        throw std::runtime_error("Error: Expected MAC address length of " + std::to_string(length) + " bytes.\n");
    }
    FlashUtil::ReverseBytes(bytes);
    return bytes;
}

}  // namespace flash
