// Intel HEX: text lines ":LLAAAATT<data>CC" of length, offset, type, data and checksum, all in hexadecimal digits; the
// bytes of a line add up to 0 modulo 256. Types: 00 data, 01 end, 02 and 04 base of what follows, 03 and 05 entry
// point.
#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "host/files/ProgramImage.h"

namespace flash::host {

// Strict: every line is a whole, correct record or empty (TextRecords.h says what else a line may have); the end record
// stands and nothing follows it. A record runs on past 64 KiB only behind a base of type 04: elsewhere its offset would
// wrap around, which nobody means. Throws `ProgramFileError` with file and line.
ProgramImage ReadIntelHex(std::span<const std::uint8_t> content, const std::string& fileName);

// Gaps stay gaps: only bytes of the image are written, 16 per line, lines end with LF. Bases are of type 04, an entry
// point of type 05.
std::string PrintIntelHex(const ProgramImage& image);

}  // namespace flash::host
