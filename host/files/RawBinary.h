// Raw binary: the bytes of memory from a base address on, which only the user knows.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "host/files/ProgramImage.h"

namespace flash::host {

// Throws `ProgramFileError` when the bytes do not fit below the end of the 32-bit address space.
ProgramImage ReadRawBinary(std::span<const std::uint8_t> content, std::uint32_t base, const std::string& fileName);

// From the image's first byte to its last; bytes that the image does not have are `fill`. Throws `ProgramFileError`
// when that is more than `kMaxFileBytes`.
std::vector<std::uint8_t> PrintRawBinary(const ProgramImage& image, std::uint8_t fill = 0xFF);

}  // namespace flash::host
