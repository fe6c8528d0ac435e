// The loop in which a digest spends its time: one file for any machine, one for the target's core.
#ifndef FIRMWARE_DIGEST_POLY1305_BLOCKS_H
#define FIRMWARE_DIGEST_POLY1305_BLOCKS_H

#include "firmware/digest/poly1305.h"

#ifdef __cplusplus
extern "C" {
#endif

// Whole blocks, from `bytes` on to before `end`. `topBit` is what stands above each of them: 1, or 0 for a block that
// was filled up.
//
// With limbs of 32 bits: 2^130 is 5, so a product that belongs 2^128 times higher counts 5/4 times. The multiplier's
// words above the first are multiples of 4, so that 5/4 of them are whole.
void Poly1305AbsorbBlocks(Poly1305* poly, const uint8_t* bytes, const uint8_t* end, uint32_t topBit);

#ifdef __cplusplus
}
#endif
#endif
