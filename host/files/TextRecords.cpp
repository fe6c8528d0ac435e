// Digits are told one by one, so that a wrong one has its column.
#include "host/files/TextRecords.h"

#include <fmt/format.h>

#include <numeric>

namespace flash::host {
namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
constexpr std::string_view kBlanks = " \t";
constexpr std::string_view kBlanksAndLineEnds = " \t\r\n";
constexpr char kCtrlZ = '\x1A';

std::optional<std::uint8_t> ValueOfDigit(char character) {
    const auto offsetFrom = [&](char first) { return static_cast<std::uint8_t>(character - first); };
    if (character >= '0' && character <= '9') {
        return offsetFrom('0');
    }
    if (character >= 'A' && character <= 'F') {
        return static_cast<std::uint8_t>(10 + offsetFrom('A'));
    }
    if (character >= 'a' && character <= 'f') {
        return static_cast<std::uint8_t>(10 + offsetFrom('a'));
    }
    return std::nullopt;
}

// As a user can recognise it: a printable character in quotes, any other one by its code.
std::string Shown(char character) {
    return character > ' ' && character <= '~'
               ? fmt::format("'{}'", character)
               : fmt::format("character 0x{:02X}", static_cast<unsigned char>(character));
}

std::uint8_t DigitAt(std::string_view line, std::size_t column, const Origin& origin) {
    const std::optional<std::uint8_t> value = ValueOfDigit(line[column]);
    if (!value) {
        throw ErrorAt(origin,
                      fmt::format("{} in column {}, expected a hexadecimal digit", Shown(line[column]), column + 1));
    }
    return *value;
}

}  // namespace

LineSplitter::LineSplitter(std::span<const std::uint8_t> content)
    : rest(reinterpret_cast<const char*>(content.data()), content.size()) {
    if (rest.starts_with(kByteOrderMark)) {
        rest.remove_prefix(kByteOrderMark.size());
    }
    if (const std::size_t last = rest.find_last_not_of(kBlanksAndLineEnds);
        last != std::string_view::npos && rest[last] == kCtrlZ) {
        rest = rest.substr(0, last);
    }
}

std::optional<TextLine> LineSplitter::Next() {
    while (!rest.empty()) {
        const std::size_t end = rest.find('\n');
        std::string_view text = rest.substr(0, end);
        rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + 1);
        ++linesTaken;
        if (end != std::string_view::npos && text.ends_with('\r')) {
            text.remove_suffix(1);
        }
        text = text.substr(0, text.find_last_not_of(kBlanks) + 1);
        if (!text.empty()) {
            return TextLine{linesTaken, text};
        }
    }
    return std::nullopt;
}

Origin LineOrigin(const std::string& fileName, std::size_t line) { return {fileName, fmt::format("line {}", line)}; }

std::vector<std::uint8_t> DecodeDigits(std::string_view line, std::size_t column, const Origin& origin) {
    std::vector<std::uint8_t> bytes;
    bytes.reserve((line.size() - column) / 2);
    for (; column + 1 < line.size(); column += 2) {
        const unsigned high = DigitAt(line, column, origin);
        bytes.push_back(static_cast<std::uint8_t>(high << 4 | DigitAt(line, column + 1, origin)));
    }
    if (column < line.size()) {
        DigitAt(line, column, origin);
        throw ErrorAt(origin, "the line ends inside a byte: an odd number of hexadecimal digits");
    }
    return bytes;
}

bool IsHexDigit(char character) { return ValueOfDigit(character).has_value(); }

std::uint32_t BigEndian(std::span<const std::uint8_t> bytes) {
    return std::accumulate(bytes.begin(), bytes.end(), std::uint32_t{0},
                           [](std::uint32_t value, std::uint8_t byte) { return value << 8 | byte; });
}

std::uint8_t ByteSum(std::span<const std::uint8_t> bytes) {
    return static_cast<std::uint8_t>(std::accumulate(bytes.begin(), bytes.end(), 0u));
}

void RequireChecksum(std::span<const std::uint8_t> record, std::uint8_t expected, const Origin& origin) {
    if (record.back() != expected) {
        throw ErrorAt(origin, fmt::format("checksum is 0x{:02X}, expected 0x{:02X}", record.back(), expected));
    }
}

}  // namespace flash::host
