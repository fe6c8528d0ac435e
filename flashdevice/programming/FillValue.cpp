#include "flashdevice/programming/FillValue.h"

#include <stdexcept>

#include "flashdevice/device/NumberText.h"

namespace flash {
namespace {

constexpr std::size_t kHexLength = 4;  // such as 0xA5

bool HoldsAny(const std::string& text, const char* characters) {
    return text.find_first_of(characters) != std::string::npos;
}

}  // namespace

std::uint8_t ParseFillValue(const std::string& text) {
    const std::string quoted = "\"" + text + "\"";
    if (text.find_first_not_of("0123456789abcdefABCDEFxX") != std::string::npos) {
        throw std::runtime_error("Option contains invalid characters: " + quoted + ".\n");
    }
    if (HoldsAny(text, "xX")) {
        if (text.size() != kHexLength) {
            throw std::runtime_error("Invalid option was given " + quoted + ". Value must fit in one byte!\n");
        }
        return static_cast<std::uint8_t>(ParseUnsigned(text, 16));
    }
    const std::uint32_t value = ParseUnsigned(text, 10);
    // Decimal reaches only to 1, on purpose: any other byte has the hexadecimal form.
    if (value > 1 || HoldsAny(text, "abcdefABCDEF")) {
        throw std::runtime_error("Invalid option was given " + quoted + ".\n");
    }
    return static_cast<std::uint8_t>(value);
}

}  // namespace flash
