// The second readers' way through text: lines by hand, numbers by the standard library.
#pragma once

#include <charconv>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

namespace flash::fuzz {

// Without a byte-order mark in front and one Ctrl-Z behind, with whatever blanks and ends of lines follow that.
inline std::string_view WithoutMarks(std::string_view text) {
    const std::size_t start = text.substr(0, 3) == "\xEF\xBB\xBF" ? 3 : 0;
    std::size_t end = text.size();
    while (end > start &&
           (text[end - 1] == ' ' || text[end - 1] == '\t' || text[end - 1] == '\r' || text[end - 1] == '\n')) {
        --end;
    }
    const bool hasCtrlZ = end > start && text[end - 1] == '\x1A';
    return text.substr(start, (hasCtrlZ ? end - 1 : text.size()) - start);
}

inline std::string_view WithoutBlanksBehind(std::string_view line) {
    while (!line.empty() && (line.back() == ' ' || line.back() == '\t')) {
        line.remove_suffix(1);
    }
    return line;
}

// Lines at each LF, without the CR in front of it and the blanks in front of that.
inline std::vector<std::string_view> LinesOf(std::string_view marked) {
    const std::string_view text = WithoutMarks(marked);
    std::vector<std::string_view> lines;
    std::size_t start = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '\n') {
            const std::size_t end = i > start && text[i - 1] == '\r' ? i - 1 : i;
            lines.push_back(WithoutBlanksBehind(text.substr(start, end - start)));
            start = i + 1;
        }
    }
    lines.push_back(WithoutBlanksBehind(text.substr(start)));
    return lines;
}

// Takes numbers of so many digits off a line. What does not fit makes it bad for good.
class TextCursor {
public:
    explicit TextCursor(std::string_view line) : rest(line) {}

    std::uint32_t Number(std::size_t digits) {
        std::uint32_t value = 0;
        const char* end = rest.data() + digits;
        if (rest.size() < digits || std::from_chars(rest.data(), end, value, 16).ptr != end) {
            isBad = true;
            return 0;
        }
        rest.remove_prefix(digits);
        return value;
    }

    // A byte, added to the sum.
    std::uint8_t Byte() {
        const auto byte = static_cast<std::uint8_t>(Number(2));
        sum += byte;
        return byte;
    }

    std::uint32_t Bytes(unsigned count) {
        std::uint32_t value = 0;
        while (count-- > 0) {
            value = value * 256 + Byte();
        }
        return value;
    }

    bool IsGood() const { return !isBad; }
    bool IsAtEnd() const { return rest.empty(); }

    unsigned sum = 0;

private:
    std::string_view rest;
    bool isBad = false;
};

}  // namespace flash::fuzz
