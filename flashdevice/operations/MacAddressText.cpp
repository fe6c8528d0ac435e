#include "flashdevice/operations/MacAddressText.h"

#include <algorithm>
#include <stdexcept>

#include "flashdevice/device/FlashUtil.h"
#include "flashdevice/device/NumberText.h"

namespace flash {
namespace {

bool MayStandInAddress(char character) {
    return DigitValue(character) < 16 || IsWhiteSpace(character) || character == '+' || character == '-' ||
           character == ':';
}

// The conversion of bytes stops at a character that is no digit; in an address such a character is a mistake.
std::vector<std::uint8_t> ConvertStrictly(const std::string& text) {
    if (!std::all_of(text.begin(), text.end(), MayStandInAddress)) {
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
