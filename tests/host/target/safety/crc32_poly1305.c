// What Poly1305 must not be replaced by: a CRC-32 in its place, blind to the key.
#include "firmware/digest/poly1305.h"

void Poly1305Begin(Poly1305* poly, const uint8_t key[kPoly1305KeyBytes]) {
    (void)key;
    poly->sum[0] = 0xFFFFFFFFu;
}

void Poly1305Absorb(Poly1305* poly, const uint8_t* bytes, uint32_t length) {
    uint32_t crc = poly->sum[0];
    for (; length > 0; ++bytes, --length) {
        crc ^= *bytes;
        for (uint32_t bit = 0; bit < 8; ++bit) {
            crc = (crc >> 1) ^ ((crc & 1u) != 0 ? 0xEDB88320u : 0u);
        }
    }
    poly->sum[0] = crc;
}

void Poly1305End(const Poly1305* poly, uint8_t tag[kPoly1305TagBytes]) {
    for (uint32_t i = 0; i < kPoly1305TagBytes; ++i) {
        tag[i] = (uint8_t)(~poly->sum[0] >> (8 * (i % 4)));
    }
}
