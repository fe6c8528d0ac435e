// Strict parsing and printing of radio addresses.
#include "host/session/MacAddress.h"

#include <fmt/format.h>

#include <charconv>

#include "host/Failure.h"

namespace flash::host {
namespace {

constexpr std::size_t kCharactersPerByte = 3;  // two digits and the separator

char UpperHexDigit(char character) {
    if ((character >= '0' && character <= '9') || (character >= 'A' && character <= 'F')) {
        return character;
    }
    return character >= 'a' && character <= 'f' ? static_cast<char>(character - 'a' + 'A') : '\0';
}

}  // namespace

std::string ParseMacAddress(std::string_view text, std::size_t lengthBytes, std::string_view option) {
    std::string address;
    for (const char character : text) {
        const bool isSeparator = address.size() % kCharactersPerByte == kCharactersPerByte - 1;
        const char wanted =
            isSeparator ? (character == ':' || character == '-' ? ':' : '\0') : UpperHexDigit(character);
        if (wanted == '\0') {
            address.clear();
            break;
        }
        address.push_back(wanted);
    }
    if (address.size() != lengthBytes * kCharactersPerByte - 1) {
        throw Failure(
            FailureKind::BadInput,
            fmt::format("{}: \"{}\" is not an address of {} bytes, two hexadecimal digits each with ':' between, "
                        "most significant byte first",
                        option, text, lengthBytes));
    }
    return address;
}

std::string PrintMacAddress(std::span<const std::uint8_t> bytes) {
    std::string text;
    for (auto byte = bytes.rbegin(); byte != bytes.rend(); ++byte) {
        text += fmt::format("{}{:02X}", text.empty() ? "" : ":", *byte);
    }
    return text;
}

std::vector<std::uint8_t> MacAddressBytes(std::string_view printed) {
    std::vector<std::uint8_t> bytes((printed.size() + 1) / kCharactersPerByte);
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        const char* digits = printed.data() + (bytes.size() - 1 - i) * kCharactersPerByte;
        std::from_chars(digits, digits + 2, bytes[i], 16);
    }
    return bytes;
}

}  // namespace flash::host
