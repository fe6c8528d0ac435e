// Strict reading and printing of radio addresses.
#include "host/ccfg/RadioAddress.h"

#include <fmt/format.h>

#include <optional>

#include "host/Failure.h"
#include "host/Numbers.h"

namespace flash::host {
namespace {

constexpr std::size_t kDigitsPerByte = 2;
constexpr std::size_t kCharactersPerByte = kDigitsPerByte + 1;  // and the separator

// Null when the text is no address of any length.
std::optional<std::vector<std::uint8_t>> BytesOf(std::string_view text) {
    std::vector<std::uint8_t> bytes;
    for (std::size_t at = 0; at < text.size(); at += kCharactersPerByte) {
        const std::string_view digits = text.substr(at, kDigitsPerByte);
        const std::optional<std::uint32_t> byte = ParseHexadecimal(digits);
        const char separator = at == 0 ? ':' : text[at - 1];
        if (!byte || digits.size() != kDigitsPerByte || (separator != ':' && separator != '-')) {
            return std::nullopt;
        }
        bytes.insert(bytes.begin(), static_cast<std::uint8_t>(*byte));
    }
    return text.size() + 1 == bytes.size() * kCharactersPerByte ? std::optional(bytes) : std::nullopt;
}

}  // namespace

std::string RadioAddress::Text() const {
    std::string text;
    for (auto byte = bytes.rbegin(); byte != bytes.rend(); ++byte) {
        text += fmt::format("{}{:02X}", text.empty() ? "" : ":", *byte);
    }
    return text;
}

RadioAddress ParseRadioAddress(std::string_view text, std::size_t lengthBytes, Field field) {
    const std::optional<std::vector<std::uint8_t>> bytes = BytesOf(text);
    if (!bytes || bytes->size() != lengthBytes) {
        throw BadInput(
            field, fmt::format("\"{}\" is not an address of {} bytes, two hexadecimal digits each with ':' between, "
                               "most significant byte first",
                               text, lengthBytes));
    }
    return RadioAddress(*bytes);
}

}  // namespace flash::host
