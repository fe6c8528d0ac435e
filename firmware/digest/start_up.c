// Start-up on the target, and the end: a host writes the program counter and waits for `answered`. Nothing else of what
// the core was doing matters.
#include "firmware/digest/digest.h"

extern uint32_t g_stackTop[];    // from the linker script
extern const uint8_t g_flash[];  // likewise: address 0, which C would take for no object at all

void DigestISR(void);
void FaultISR(void);
void StartDigest(void);

typedef union {
    uint32_t* stackTop;
    void (*handler)(void);
} Vector;

// With interrupts masked every other exception of the core becomes the last one here.
__attribute__((section(".vectors"), used)) static const Vector kVectors[] = {
    {.stackTop = g_stackTop}, {.handler = DigestISR}, {.handler = FaultISR}, {.handler = FaultISR}};

static const uintptr_t kVectorTableOffset = 0xE000ED08u;

// Not loaded: the host writes the one and reads the other.
__attribute__((section(".noinit"))) DigestExchange g_exchange;
__attribute__((section(".noinit"))) Digest g_digests[kDigestMaxRanges];

// An application may have been halted with its interrupts on and on the process stack.
__attribute__((naked)) void DigestISR(void) {
    __asm__ volatile(
        "cpsid i                          \n"
        "movs  r0, #0                     \n"
        "msr   control, r0                \n"
        "isb                              \n"
        "movw  r0, #:lower16:g_stackTop   \n"
        "movt  r0, #:upper16:g_stackTop   \n"
        "mov   sp, r0                     \n"
        "b     StartDigest                \n");
}

void FaultISR(void) {
    g_exchange.answered = kDigestRefused;
    for (;;) {
    }
}

void StartDigest(void) {
    *(volatile uint32_t*)kVectorTableOffset = (uint32_t)kVectors;
    AnswerDigests(g_flash, &g_exchange, g_digests);
    for (;;) {
    }
}
