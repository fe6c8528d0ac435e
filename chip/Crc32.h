// CRC-32 of IEEE 802.3, bit by bit: what guards a saved chip, and what commands carry that a test posts.
#pragma once

#include <cstdint>
#include <span>

namespace flash::chip {

std::uint32_t Crc32(std::span<const std::uint8_t> bytes);

}  // namespace flash::chip
