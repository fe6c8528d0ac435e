// What is done once for each digest; the loop over the blocks has a file of its own.
#include "firmware/digest/poly1305.h"

#include "firmware/digest/poly1305_blocks.h"
#include "firmware/load_word.h"

static void StoreWord(uint8_t* bytes, uint32_t word) { __builtin_memcpy(bytes, &word, sizeof word); }

void Poly1305Begin(Poly1305* poly, const uint8_t key[kPoly1305KeyBytes]) {
    for (uint32_t i = 0; i < 4; ++i) {
        // No sum of products overflows then, and all words but the first are multiples of 4.
        poly->multiplier[i] = LoadWord(key + 4 * i) & (i == 0 ? 0x0FFFFFFFu : 0x0FFFFFFCu);
        poly->pad[i] = LoadWord(key + 16 + 4 * i);
        poly->sum[i] = 0;
    }
    poly->sum[4] = 0;
}

void Poly1305Absorb(Poly1305* poly, const uint8_t* bytes, uint32_t length) {
    const uint8_t* const rest = bytes + length / kPoly1305BlockBytes * kPoly1305BlockBytes;
    Poly1305AbsorbBlocks(poly, bytes, rest, 1);
    if (length % kPoly1305BlockBytes == 0) {
        return;
    }
    uint8_t block[kPoly1305BlockBytes];
    for (uint32_t i = 0; i < kPoly1305BlockBytes; ++i) {
        block[i] = i < length % kPoly1305BlockBytes ? rest[i] : i == length % kPoly1305BlockBytes ? 1 : 0;
    }
    Poly1305AbsorbBlocks(poly, block, block + kPoly1305BlockBytes, 0);
}

// Adds `carry` to the sum's four low words and returns what goes beyond them.
static uint32_t AddCarry(uint32_t sum[4], uint64_t carry) {
    for (uint32_t i = 0; i < 4; ++i) {
        carry += sum[i];
        sum[i] = (uint32_t)carry;
        carry >>= 32;
    }
    return (uint32_t)carry;
}

// The sum is below twice the modulus: adding 5 shows in bit 130 whether it has to be subtracted, and then has done so.
// Without branches, so that the time does not depend on the key.
void Poly1305End(const Poly1305* poly, uint8_t tag[kPoly1305TagBytes]) {
    uint32_t reduced[4] = {poly->sum[0], poly->sum[1], poly->sum[2], poly->sum[3]};
    const uint32_t isAbove = (poly->sum[4] + AddCarry(reduced, 5)) >> 2;
    uint64_t padded = 0;
    for (uint32_t i = 0; i < 4; ++i) {
        const uint32_t word = poly->sum[i] ^ ((poly->sum[i] ^ reduced[i]) & (0u - isAbove));
        padded = (padded >> 32) + word + poly->pad[i];
        StoreWord(tag + 4 * i, (uint32_t)padded);
    }
}
