// The chip's write protection words: word 0 for sectors 0 to 31, word 1 for sectors 32 to 63; a cleared bit protects
// its sector.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

namespace flash {

using ProtectionWords = std::array<std::uint32_t, 2>;

// Clears the bit of every sector whose flag is false. Sectors from 64 up fold onto the bits of word 1, on purpose.
void ProtectSectors(ProtectionWords& words, const std::vector<bool>& sectors);

// As they stand in CCFG: both words, each least significant byte first.
std::vector<std::uint8_t> ProtectionBytes(const ProtectionWords& words);

}  // namespace flash
