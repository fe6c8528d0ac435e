// The loop over the blocks for any machine: products of two words, summed in 64 bits.
#include "firmware/digest/poly1305_blocks.h"
#include "firmware/load_word.h"

static void AddBlock(uint32_t sum[5], const uint8_t* bytes, uint32_t topBit) {
    uint64_t limb = 0;
    for (uint32_t i = 0; i < 4; ++i) {
        limb = (limb >> 32) + sum[i] + LoadWord(bytes + 4 * i);
        sum[i] = (uint32_t)limb;
    }
    sum[4] += (uint32_t)(limb >> 32) + topBit;
}

static void Multiply(uint32_t sum[5], const uint32_t multiplier[4]) {
    uint32_t product[4];
    uint64_t limb = 0;
    for (uint32_t i = 0; i < 4; ++i) {
        limb >>= 32;
        for (uint32_t k = 0; k < 5; ++k) {
            const uint32_t j = (i + 8 - k) % 4;  // of the multiplier, so that the product belongs to limb i or i + 4
            const uint32_t factor = k <= i ? multiplier[j] : multiplier[j] + multiplier[j] / 4;
            limb += k == 4 && j == 0 ? 0 : (uint64_t)sum[k] * factor;
        }
        product[i] = (uint32_t)limb;
    }
    sum[4] = sum[4] * multiplier[0] + (uint32_t)(limb >> 32);
    for (uint32_t i = 0; i < 4; ++i) {
        sum[i] = product[i];
    }
}

// What is above bit 130 comes back in at the bottom, five times.
static void Fold(uint32_t sum[5]) {
    uint64_t limb = (uint64_t)(sum[4] >> 2) * 5;
    for (uint32_t i = 0; i < 4; ++i) {
        limb += sum[i];
        sum[i] = (uint32_t)limb;
        limb >>= 32;
    }
    sum[4] = (sum[4] & 3u) + (uint32_t)limb;
}

void Poly1305AbsorbBlocks(Poly1305* poly, const uint8_t* bytes, const uint8_t* end, uint32_t topBit) {
    for (; bytes < end; bytes += kPoly1305BlockBytes) {
        AddBlock(poly->sum, bytes, topBit);
        Multiply(poly->sum, poly->multiplier);
        Fold(poly->sum);
    }
}
