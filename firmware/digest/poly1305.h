// Poly1305 of RFC 8439 (2.5), a piece at a time. A universal hash: whatever two different contents of one sector are,
// fewer than one key in 2^94 gives both the same digest, as long as they were there before the key was drawn.
#ifndef FIRMWARE_DIGEST_POLY1305_H
#define FIRMWARE_DIGEST_POLY1305_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

enum { kPoly1305KeyBytes = 32, kPoly1305TagBytes = 16, kPoly1305BlockBytes = 16 };

typedef struct {
    uint32_t multiplier[4];  // the key's first half with the bits cleared that RFC 8439 clears
    uint32_t pad[4];         // its second half
    // The sum so far, modulo 2^130 - 5 but not always below it: the last limb is 4 at most.
    uint32_t sum[5];
} Poly1305;

void Poly1305Begin(Poly1305* poly, const uint8_t key[kPoly1305KeyBytes]);

// Of all pieces only the last may have another length than a multiple of 16.
void Poly1305Absorb(Poly1305* poly, const uint8_t* bytes, uint32_t length);

void Poly1305End(const Poly1305* poly, uint8_t tag[kPoly1305TagBytes]);

#ifdef __cplusplus
}
#endif
#endif
