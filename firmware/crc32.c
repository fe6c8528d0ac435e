// CRC-32, a byte at a time over a table of 1 KiB: what is not checked while the controller works is checked while it
// has nothing to do. So no call is made for a word.
#include "firmware/crc32.h"

#include "firmware/load_word.h"

static const uint32_t kPolynomial = 0xEDB88320u;  // reflected

// Entry n is n shifted out through the polynomial. Shifting is linear, without carries, so the entries of single bits
// make all others. The target makes them itself: a table that is loaded would be a fifth of the image.
static uint32_t byteTable[256];

void Crc32Begin(void) {
    uint32_t shiftedOut = kPolynomial;
    for (uint32_t bit = 0x80; bit != 0; bit >>= 1) {
        for (uint32_t n = 0; n < 256; n += 2 * bit) {
            byteTable[n + bit] = byteTable[n] ^ shiftedOut;
        }
        shiftedOut = (shiftedOut >> 1) ^ ((shiftedOut & 1u) != 0 ? kPolynomial : 0u);
    }
}

__attribute__((always_inline)) static inline uint32_t ShiftOutByte(uint32_t crc) {
    return (crc >> 8) ^ byteTable[crc & 0xFFu];
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
