// CRC-32, four bits at a time: a table of 64 bytes instead of one of 1 KiB, because the small chip's SRAM is full.
#include "firmware/crc32.h"

// Entry n is n shifted out through the reflected polynomial 0xEDB88320.
static const uint32_t kNibbleTable[16] = {
    0x00000000, 0x1DB71064, 0x3B6E20C8, 0x26D930AC, 0x76DC4190, 0x6B6B51F4, 0x4DB26158, 0x5005713C,
    0xEDB88320, 0xF00F9344, 0xD6D6A3E8, 0xCB61B38C, 0x9B64C2B0, 0x86D3D2D4, 0xA00AE278, 0xBDBDF21C,
};

uint32_t Crc32(const uint8_t* bytes, uint32_t length) {
    uint32_t crc = 0xFFFFFFFFu;
    for (uint32_t i = 0; i < length; ++i) {
        crc ^= bytes[i];
        crc = (crc >> 4) ^ kNibbleTable[crc & 0xFu];
        crc = (crc >> 4) ^ kNibbleTable[crc & 0xFu];
    }
    return ~crc;
}
