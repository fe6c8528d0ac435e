// An example program for a Lumo microcontroller: counts in initialised and in zeroed memory, so that a wrong byte in
// flash would be seen, and carries a customer configuration area with everything enabled.
#include <stdint.h>

// The last 88 bytes of flash. All ones mean "enabled" or "not protected".
typedef struct {
    uint32_t reserved0[2];
    uint32_t sizeAndDisableFlags;  // bytes of this area in the upper half; 1 below: nothing disabled
    uint32_t reserved1[3];
    uint8_t ieeeAddress[8];
    uint8_t bleAddress[6];
    uint8_t reserved2[18];
    uint32_t protection[2];
    uint8_t reserved3[24];
} ccfg_t;
_Static_assert(sizeof(ccfg_t) == 88, "the hardware reads it from the end of flash");

__attribute__((section(".ccfg"), used)) const ccfg_t g_ccfg = {
    .reserved0 = {0xFFFFFFFF, 0xFFFFFFFF},
    .sizeAndDisableFlags = sizeof(ccfg_t) << 16 | 1,
    .reserved1 = {0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF},
    .ieeeAddress = {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF},
    .bleAddress = {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF},
    .reserved2 = {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF,
                  0xFF},
    .protection = {0xFFFFFFFF, 0xFFFFFFFF},
    .reserved3 = {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF,
                  0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF},
};

static const char kGreeting[] = "Hello from a Lumo microcontroller";
// 32 KiB of a table, so that the program is long enough to watch while it is loaded.
#define NOISE_1(i) ((uint32_t)(i)*2654435761u)
#define NOISE_8(i)                                                                                              \
    NOISE_1(i), NOISE_1(i + 1), NOISE_1(i + 2), NOISE_1(i + 3), NOISE_1(i + 4), NOISE_1(i + 5), NOISE_1(i + 6), \
        NOISE_1(i + 7)
#define NOISE_64(i)                                                                                                  \
    NOISE_8(i), NOISE_8(i + 8), NOISE_8(i + 16), NOISE_8(i + 24), NOISE_8(i + 32), NOISE_8(i + 40), NOISE_8(i + 48), \
        NOISE_8(i + 56)
#define NOISE_512(i)                                                                                           \
    NOISE_64(i), NOISE_64(i + 64), NOISE_64(i + 128), NOISE_64(i + 192), NOISE_64(i + 256), NOISE_64(i + 320), \
        NOISE_64(i + 384), NOISE_64(i + 448)
#define NOISE_4096(i)                                                                                \
    NOISE_512(i), NOISE_512(i + 512), NOISE_512(i + 1024), NOISE_512(i + 1536), NOISE_512(i + 2048), \
        NOISE_512(i + 2560), NOISE_512(i + 3072), NOISE_512(i + 3584)
static const uint32_t kNoise[] = {NOISE_4096(1), NOISE_4096(4097)};

static const uint16_t kSquares[] = {0, 1, 4, 9, 16, 25, 36, 49, 64, 81, 100, 121, 144, 169, 196, 225};

volatile uint32_t g_start = 1000;  // in .data
volatile uint32_t g_sum;           // in .bss

int main(void) {
    for (uint32_t i = 0;; ++i) {
        g_sum += g_start + kSquares[i % (sizeof kSquares / sizeof kSquares[0])] +
                 (uint32_t)kGreeting[i % (sizeof kGreeting)] + kNoise[i % (sizeof kNoise / sizeof kNoise[0])];
    }
}
