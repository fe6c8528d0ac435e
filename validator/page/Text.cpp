#include "validator/page/Text.h"

#include <cstdint>

namespace flash::validator {
namespace {

constexpr std::string_view kReplacement = "\xEF\xBF\xBD";

struct Lead {
    unsigned char mask, value;
    std::size_t length;
    std::uint32_t smallest;  // a longer form than needed is none
};

constexpr Lead kLeads[] = {{0x80, 0x00, 1, 0}, {0xE0, 0xC0, 2, 0x80}, {0xF0, 0xE0, 3, 0x800}, {0xF8, 0xF0, 4, 0x10000}};

bool IsCharacter(std::uint32_t code, std::uint32_t smallest) {
    const bool isHalf = code >= 0xD800 && code <= 0xDFFF;
    return code >= smallest && code <= 0x10FFFF && !isHalf;
}

// The bytes of the character that stands first; 0 for none.
std::size_t LengthOfFirst(std::string_view bytes) {
    const auto first = static_cast<unsigned char>(bytes[0]);
    for (const Lead& lead : kLeads) {
        if ((first & lead.mask) != lead.value || bytes.size() < lead.length) {
            continue;
        }
        auto code = static_cast<std::uint32_t>(first & static_cast<unsigned char>(~lead.mask));
        for (std::size_t i = 1; i < lead.length; ++i) {
            const auto next = static_cast<unsigned char>(bytes[i]);
            if ((next & 0xC0) != 0x80) {
                return 0;
            }
            code = (code << 6) | (next & 0x3F);
        }
        return IsCharacter(code, lead.smallest) ? lead.length : 0;
    }
    return 0;
}

// The byte as two digits.
std::string Numbered(const std::string& prefix, char character) {
    constexpr char kDigits[] = "0123456789ABCDEF";
    const auto byte = static_cast<unsigned char>(character);
    return prefix + kDigits[byte >> 4] + kDigits[byte & 0xF];
}

bool IsControl(char character) { return static_cast<unsigned char>(character) < 0x20 || character == 0x7F; }

std::string JsonCharacter(char character) {
    switch (character) {
        case '"':
            return "\\\"";
        case '\\':
            return "\\\\";
        default:
            return IsControl(character) ? Numbered("\\u00", character) : std::string(1, character);
    }
}

// XML has no way at all to say most control characters.
std::string XmlCharacter(char character) {
    switch (character) {
        case '&':
            return "&amp;";
        case '<':
            return "&lt;";
        case '>':
            return "&gt;";
        case '"':
            return "&quot;";
        case '\n':
            return "&#10;";
        case '\t':
            return "&#9;";
        default:
            return IsControl(character) ? Numbered("\\x", character) : std::string(1, character);
    }
}

template <typename Each>
std::string Joined(const std::string& text, Each each) {
    std::string joined;
    for (const char character : text) {
        joined += each(character);
    }
    return joined;
}

}  // namespace

std::string AsUtf8(std::string_view bytes) {
    std::string text;
    while (!bytes.empty()) {
        const std::size_t length = LengthOfFirst(bytes);
        text += length == 0 ? kReplacement : bytes.substr(0, length);
        bytes.remove_prefix(length == 0 ? 1 : length);
    }
    return text;
}

std::string InOneLine(std::string_view bytes) {
    std::string text;
    while (!bytes.empty()) {
        const std::size_t length = IsControl(bytes[0]) ? 0 : LengthOfFirst(bytes);
        text += length == 0 ? Numbered("\\x", bytes[0]) : std::string(bytes.substr(0, length));
        bytes.remove_prefix(length == 0 ? 1 : length);
    }
    return text;
}

std::string JsonText(std::string_view bytes) { return "\"" + Joined(AsUtf8(bytes), JsonCharacter) + "\""; }

std::string XmlText(std::string_view bytes) {
    std::string text = Joined(AsUtf8(bytes), XmlCharacter);
    // Two that UTF-8 has and XML forbids.
    for (const std::string_view forbidden : {"\xEF\xBF\xBE", "\xEF\xBF\xBF"}) {
        for (std::size_t at = text.find(forbidden); at != std::string::npos; at = text.find(forbidden)) {
            text.replace(at, forbidden.size(), kReplacement);
        }
    }
    return text;
}

}  // namespace flash::validator
