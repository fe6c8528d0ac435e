// Singular and plural, and what a terminal must not get.
#include "host/Words.h"

namespace flash::host {
namespace {

constexpr std::uint32_t kFirstPrintable = 0x20;
constexpr std::uint32_t kDelete = 0x7F;
constexpr std::uint32_t kEndOfSecondControls = 0xA0;  // those of 0x80 to 0x9F, which terminals obey, too

// What a first byte of UTF-8 says: how many follow, and the first bits of the character.
struct Lead {
    unsigned char mask, mark;
    std::size_t following;
    std::uint32_t least;  // a smaller character has a shorter form
};

constexpr Lead kLeads[] = {
    {0x80, 0x00, 0, 0}, {0xE0, 0xC0, 1, 0x80}, {0xF0, 0xE0, 2, 0x800}, {0xF8, 0xF0, 3, 0x1'0000}};

// Halves of pairs in another encoding, what lies behind the last character, and two that mark errors.
bool IsNoCharacter(std::uint32_t code) {
    return (code >= 0xD800 && code < 0xE000) || code > 0x10'FFFF || code == 0xFFFE || code == 0xFFFF;
}

// The bytes of the character at the front; 0 when it is none, or one that is not shown.
std::size_t PrintableBytes(std::string_view text) {
    for (const Lead& lead : kLeads) {
        const auto first = static_cast<unsigned char>(text.front());
        if ((first & lead.mask) != lead.mark || text.size() <= lead.following) {
            continue;
        }
        std::uint32_t character = first & static_cast<unsigned char>(~lead.mask);
        for (std::size_t i = 1; i <= lead.following; ++i) {
            const auto next = static_cast<unsigned char>(text[i]);
            if ((next & 0xC0) != 0x80) {
                return 0;
            }
            character = character << 6 | (next & 0x3Fu);
        }
        const bool isControl =
            character < kFirstPrintable || (character >= kDelete && character < kEndOfSecondControls);
        return isControl || character < lead.least || IsNoCharacter(character) ? 0 : lead.following + 1;
    }
    return 0;
}

std::string EscapedBut(std::string_view text, std::string_view exceptions) {
    static constexpr std::string_view kDigits = "0123456789ABCDEF";
    std::string escaped;
    while (!text.empty()) {
        const std::size_t length = exceptions.find(text.front()) != std::string_view::npos ? 1 : PrintableBytes(text);
        const auto code = static_cast<unsigned char>(text.front());
        escaped += length == 0 ? std::string{'\\', 'x', kDigits[code >> 4], kDigits[code & 0xF]}
                               : std::string(text.substr(0, length));
        text.remove_prefix(length == 0 ? 1 : length);
    }
    return escaped;
}

}  // namespace

std::string Counted(std::uint64_t count, std::string_view noun) {
    const char* plural = noun.ends_with('s') ? "es" : "s";
    return std::to_string(count) + " " + std::string(noun) + (count == 1 ? "" : plural);
}

std::string Listed(std::string_view noun, std::string_view list) {
    const bool isOne = list.find_first_of(",-") == std::string_view::npos;
    return std::string(noun) + (isOne ? " " : "s ") + std::string(list);
}

std::string Escaped(std::string_view text) { return EscapedBut(text, ""); }

std::string EscapedLines(std::string_view text) { return EscapedBut(text, "\n"); }

}  // namespace flash::host
