// Singular and plural, and what a terminal must not get.
#include "host/Words.h"

namespace flash::host {
namespace {

constexpr unsigned char kFirstPrintable = 0x20;
constexpr unsigned char kDelete = 0x7F;

}  // namespace

std::string Counted(std::uint64_t count, std::string_view noun) {
    return std::to_string(count) + " " + std::string(noun) + (count == 1 ? "" : "s");
}

std::string Listed(std::string_view noun, std::string_view list) {
    const bool isOne = list.find_first_of(",-") == std::string_view::npos;
    return std::string(noun) + (isOne ? " " : "s ") + std::string(list);
}

std::string Escaped(std::string_view text) {
    static constexpr std::string_view kDigits = "0123456789ABCDEF";
    std::string escaped;
    for (const char character : text) {
        const auto code = static_cast<unsigned char>(character);
        if (code >= kFirstPrintable && code != kDelete) {
            escaped += character;
        } else {
            escaped += {'\\', 'x', kDigits[code >> 4], kDigits[code & 0xF]};
        }
    }
    return escaped;
}

}  // namespace flash::host
