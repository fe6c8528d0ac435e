// What Intel HEX and S-record files have in common: lines, and bytes as pairs of hexadecimal digits.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "host/files/ProgramImage.h"

namespace flash::host {

struct TextLine {
    std::size_t number;     // from 1
    std::string_view text;  // without its end
};

// Takes one line after the other off a file's content. A line ends with LF, CRLF or the end of the file. What editors
// and old systems add is no part of a line: a byte-order mark of UTF-8 at the start, blanks behind a line, one Ctrl-Z
// at the end.
class LineSplitter {
public:
    explicit LineSplitter(std::span<const std::uint8_t> content);

    // The next line that is not empty, null behind the last one. The text points into the content.
    std::optional<TextLine> Next();

private:
    std::string_view rest;
    std::size_t linesTaken = 0;
};

// "line 12" of the file.
Origin LineOrigin(const std::string& fileName, std::size_t line);

// The bytes of digit pairs, from `column` (counted from 0) of the line to its end. Throws for any other character.
std::vector<std::uint8_t> DecodeDigits(std::string_view line, std::size_t column, const Origin& origin);

bool IsHexDigit(char character);

// The number of up to four bytes, most significant first.
std::uint32_t BigEndian(std::span<const std::uint8_t> bytes);

// The sum modulo 256, as both formats' checksums count.
std::uint8_t ByteSum(std::span<const std::uint8_t> bytes);

// Throws unless the last byte of the record is `expected`.
void RequireChecksum(std::span<const std::uint8_t> record, std::uint8_t expected, const Origin& origin);

// What the lines of a file are to a reader that takes each of them, decoded, and knows at the last what is missing.
template <typename Reader, typename Decode>
ProgramImage ReadRecords(std::span<const std::uint8_t> content, const std::string& fileName, Decode decode) {
    Reader reader;
    Origin origin{fileName, ""};
    LineSplitter lines(content);
    while (const std::optional<TextLine> line = lines.Next()) {
        origin = LineOrigin(fileName, line->number);
        reader.Take(decode(line->text, origin), origin);
    }
    return reader.Finish(origin);
}

}  // namespace flash::host
