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
static const uint16_t kSquares[] = {0, 1, 4, 9, 16, 25, 36, 49, 64, 81, 100, 121, 144, 169, 196, 225};

volatile uint32_t g_start = 1000;  // in .data
volatile uint32_t g_sum;           // in .bss

int main(void) {
    for (uint32_t i = 0;; i = (i + 1) % (sizeof kSquares / sizeof kSquares[0])) {
        g_sum += g_start + kSquares[i] + (uint32_t)kGreeting[i];
    }
}
