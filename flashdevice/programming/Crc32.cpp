#include "flashdevice/programming/Crc32.h"

namespace flash {
namespace {

// Four bits at a time: the remainder of each nibble under the reflected polynomial 0xEDB88320.
constexpr std::uint32_t kNibbleTable[16] = {
    0x0000'0000, 0x1DB7'1064, 0x3B6E'20C8, 0x26D9'30AC, 0x76DC'4190, 0x6B6B'51F4, 0x4DB2'6158, 0x5005'713C,
    0xEDB8'8320, 0xF00F'9344, 0xD6D6'A3E8, 0xCB61'B38C, 0x9B64'C2B0, 0x86D3'D2D4, 0xA00A'E278, 0xBDBD'F21C,
};

}  // namespace

std::uint32_t Crc32(std::span<const std::uint8_t> data) {
    std::uint32_t crc = 0xFFFF'FFFF;
    for (const std::uint8_t byte : data) {
        crc ^= byte;
        crc = (crc >> 4) ^ kNibbleTable[crc & 0xF];
        crc = (crc >> 4) ^ kNibbleTable[crc & 0xF];
    }
    return ~crc;
}

}  // namespace flash
