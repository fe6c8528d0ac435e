// The loop over the blocks for the target's core, which multiplies and adds to 64 bits in one instruction. The compiler
// does not see that through sums of that width, and takes two thirds longer; so the arithmetic is spelled out.
#include "firmware/digest/poly1305_blocks.h"
#include "firmware/load_word.h"

typedef struct {
    uint32_t h0, h1, h2, h3, h4;
} Limbs;

typedef struct {
    uint32_t r0, r1, r2, r3;
    uint32_t s1, s2, s3;  // 5/4 of r1, r2, r3
} Multiplier;

typedef struct {
    uint32_t low;
    uint32_t high;
} WideSum;

static inline void AddBlock(Limbs* sum, const uint8_t* bytes, uint32_t topBit) {
    __asm__(
        "adds %0, %0, %5 \n"
        "adcs %1, %1, %6 \n"
        "adcs %2, %2, %7 \n"
        "adcs %3, %3, %8 \n"
        "adc  %4, %4, %9 \n"
        : "+&r"(sum->h0), "+&r"(sum->h1), "+&r"(sum->h2), "+&r"(sum->h3), "+&r"(sum->h4)
        : "r"(LoadWord(bytes)), "r"(LoadWord(bytes + 4)), "r"(LoadWord(bytes + 8)), "r"(LoadWord(bytes + 12)),
          "r"(topBit)
        : "cc");
}

static inline void MultiplyAdd(WideSum* sum, uint32_t a, uint32_t b) {
    __asm__("umlal %0, %1, %2, %3" : "+r"(sum->low), "+r"(sum->high) : "r"(a), "r"(b));
}

static inline void Multiply(Limbs* sum, const Multiplier* by) {
    WideSum limb0 = {0, 0};
    MultiplyAdd(&limb0, sum->h0, by->r0);
    MultiplyAdd(&limb0, sum->h1, by->s3);
    MultiplyAdd(&limb0, sum->h2, by->s2);
    MultiplyAdd(&limb0, sum->h3, by->s1);
    WideSum limb1 = {limb0.high, 0};
    MultiplyAdd(&limb1, sum->h0, by->r1);
    MultiplyAdd(&limb1, sum->h1, by->r0);
    MultiplyAdd(&limb1, sum->h2, by->s3);
    MultiplyAdd(&limb1, sum->h3, by->s2);
    MultiplyAdd(&limb1, sum->h4, by->s1);
    WideSum limb2 = {limb1.high, 0};
    MultiplyAdd(&limb2, sum->h0, by->r2);
    MultiplyAdd(&limb2, sum->h1, by->r1);
    MultiplyAdd(&limb2, sum->h2, by->r0);
    MultiplyAdd(&limb2, sum->h3, by->s3);
    MultiplyAdd(&limb2, sum->h4, by->s2);
    WideSum limb3 = {limb2.high, 0};
    MultiplyAdd(&limb3, sum->h0, by->r3);
    MultiplyAdd(&limb3, sum->h1, by->r2);
    MultiplyAdd(&limb3, sum->h2, by->r1);
    MultiplyAdd(&limb3, sum->h3, by->r0);
    MultiplyAdd(&limb3, sum->h4, by->s3);
    *sum = (Limbs){limb0.low, limb1.low, limb2.low, limb3.low, sum->h4 * by->r0 + limb3.high};
}

// What is above bit 130 comes back in at the bottom, five times.
static inline void Fold(Limbs* sum) {
    const uint32_t folded = (sum->h4 >> 2) + (sum->h4 & ~3u);
    sum->h4 &= 3u;
    __asm__(
        "adds %0, %0, %5 \n"
        "adcs %1, %1, #0 \n"
        "adcs %2, %2, #0 \n"
        "adcs %3, %3, #0 \n"
        "adc  %4, %4, #0 \n"
        : "+&r"(sum->h0), "+&r"(sum->h1), "+&r"(sum->h2), "+&r"(sum->h3), "+&r"(sum->h4)
        : "r"(folded)
        : "cc");
}

void Poly1305AbsorbBlocks(Poly1305* poly, const uint8_t* bytes, const uint8_t* end, uint32_t topBit) {
    const uint32_t* const r = poly->multiplier;
    const Multiplier by = {r[0], r[1], r[2], r[3], r[1] + r[1] / 4, r[2] + r[2] / 4, r[3] + r[3] / 4};
    Limbs sum = {poly->sum[0], poly->sum[1], poly->sum[2], poly->sum[3], poly->sum[4]};
    for (; bytes < end; bytes += kPoly1305BlockBytes) {
        AddBlock(&sum, bytes, topBit);
        Multiply(&sum, &by);
        Fold(&sum);
    }
    poly->sum[0] = sum.h0;
    poly->sum[1] = sum.h1;
    poly->sum[2] = sum.h2;
    poly->sum[3] = sum.h3;
    poly->sum[4] = sum.h4;
}
