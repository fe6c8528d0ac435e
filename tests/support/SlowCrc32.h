// The CRC-32 of IEEE 802.3 bit by bit, as the definition has it: shares nothing with the code under test.
#pragma once

#include <cstdint>
#include <vector>

namespace flash::test {

inline std::uint32_t SlowCrc32(const std::vector<std::uint8_t>& bytes) {
    std::uint32_t crc = 0xFFFF'FFFF;
    for (const std::uint8_t byte : bytes) {
        for (int bit = 0; bit < 8; ++bit) {
            const bool isOut = ((crc ^ (std::uint32_t{byte} >> bit)) & 1U) != 0;
            crc = (crc >> 1) ^ (isOut ? 0xEDB8'8320 : 0);
        }
    }
    return ~crc;
}

}  // namespace flash::test
