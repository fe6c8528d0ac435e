// Motorola S-record: text lines "STLL<address><data>CC" of type, length (of all that follows), address, data and
// checksum, in hexadecimal digits; the bytes behind the type add up to 0xFF modulo 256. Types: 0 header; 1, 2, 3 data
// with 16, 24, 32 bits of address; 5, 6 number of data records so far; 7, 8, 9 end with 32, 24, 16 bits of entry point.
#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "host/files/ProgramImage.h"

namespace flash::host {

// Strict: every line is a whole, correct record or empty (TextRecords.h says what else a line may have); counts are
// right; an end record (of any width) stands and nothing follows it. Only the first address of a record has to fit its
// type: common writers let an S1 record run on past 64 KiB. The address 0 in the end record means "no entry point".
// Throws `ProgramFileError` with file and line.
ProgramImage ReadSRecord(std::span<const std::uint8_t> content, const std::string& fileName);

// Gaps stay gaps: only bytes of the image are written, 16 per line, lines end with LF. Addresses have 32 bits
// throughout (S3, S7), so that every reader takes any image; an empty header (S0) stands first.
std::string PrintSRecord(const ProgramImage& image);

}  // namespace flash::host
