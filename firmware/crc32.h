// CRC-32 of IEEE 802.3: reflected polynomial 0xEDB88320, initial value 0xFFFFFFFF, final complement. The host sends the
// same checksum with a chunk.
#ifndef FIRMWARE_CRC32_H
#define FIRMWARE_CRC32_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

void Crc32Begin(void);  // once, before all else

uint32_t Crc32(const uint8_t* bytes, uint32_t length);

// The same piece by piece: begins with this, which each piece changes, and ends with the complement.
static const uint32_t kCrc32Start = 0xFFFFFFFFu;
uint32_t Crc32Add(uint32_t crc, const uint8_t* bytes, uint32_t length);

#ifdef __cplusplus
}
#endif
#endif
