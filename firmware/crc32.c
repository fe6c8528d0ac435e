// CRC-32, a byte at a time over a table of 1 KiB: what is not checked while the controller works is checked while it
// has nothing to do. So no call is made for a word.
#include "firmware/crc32.h"

#include "firmware/load_word.h"

// Entry n is n shifted out through the reflected polynomial 0xEDB88320. Shifting is linear: what a byte becomes is the
// sum, without carries, of what its bits become.
#define BIT(n, mask, shiftedOut) (((n) & (mask)) != 0 ? (shiftedOut) : 0u)
#define ENTRY(n)                                                                            \
    (BIT(n, 0x01u, 0x77073096u) ^ BIT(n, 0x02u, 0xEE0E612Cu) ^ BIT(n, 0x04u, 0x076DC419u) ^ \
     BIT(n, 0x08u, 0x0EDB8832u) ^ BIT(n, 0x10u, 0x1DB71064u) ^ BIT(n, 0x20u, 0x3B6E20C8u) ^ \
     BIT(n, 0x40u, 0x76DC4190u) ^ BIT(n, 0x80u, 0xEDB88320u))
#define FOUR_ENTRIES(n) ENTRY(n), ENTRY((n) + 1u), ENTRY((n) + 2u), ENTRY((n) + 3u)
#define SIXTEEN_ENTRIES(n) FOUR_ENTRIES(n), FOUR_ENTRIES((n) + 4u), FOUR_ENTRIES((n) + 8u), FOUR_ENTRIES((n) + 12u)
#define SIXTY_FOUR_ENTRIES(n) \
    SIXTEEN_ENTRIES(n), SIXTEEN_ENTRIES((n) + 16u), SIXTEEN_ENTRIES((n) + 32u), SIXTEEN_ENTRIES((n) + 48u)
static const uint32_t kByteTable[256] = {SIXTY_FOUR_ENTRIES(0u), SIXTY_FOUR_ENTRIES(64u), SIXTY_FOUR_ENTRIES(128u),
                                         SIXTY_FOUR_ENTRIES(192u)};

__attribute__((always_inline)) static inline uint32_t ShiftOutByte(uint32_t crc) {
    return (crc >> 8) ^ kByteTable[crc & 0xFFu];
}

__attribute__((always_inline)) static inline uint32_t AddWord(uint32_t crc, uint32_t word) {
    return ShiftOutByte(ShiftOutByte(ShiftOutByte(ShiftOutByte(crc ^ word))));
}

uint32_t Crc32Add(uint32_t crc, const uint8_t* bytes, uint32_t length) {
    for (; length >= 8; bytes += 8, length -= 8) {
        crc = AddWord(AddWord(crc, LoadWord(bytes)), LoadWord(bytes + 4));
    }
    for (; length >= 4; bytes += 4, length -= 4) {
        crc = AddWord(crc, LoadWord(bytes));
    }
    for (; length > 0; ++bytes, --length) {
        crc = ShiftOutByte(crc ^ *bytes);
    }
    return crc;
}

uint32_t Crc32(const uint8_t* bytes, uint32_t length) { return ~Crc32Add(kCrc32Start, bytes, length); }
