// CRC-32 of IEEE 802.3: reflected polynomial 0xEDB88320, initial value 0xFFFFFFFF, final complement. The flashloader
// computes the same over what it programmed.
#pragma once

#include <cstdint>
#include <span>

namespace flash {

std::uint32_t Crc32(std::span<const std::uint8_t> data);

}  // namespace flash
