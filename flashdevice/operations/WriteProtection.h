// The chip's write protection words: word 0 for pages 0 to 31, word 1 for pages 32 to 63; a cleared bit protects its
// page.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

namespace flash {

using ProtectionWords = std::array<std::uint32_t, 2>;

// Clears the bit of every page whose flag is false. Pages from 64 up fold onto the bits of word 1, on purpose.
void ProtectPages(ProtectionWords& words, const std::vector<bool>& pages);

// As they stand in CCFG: both words, each least significant byte first.
std::vector<std::uint8_t> ProtectionBytes(const ProtectionWords& words);

}  // namespace flash
