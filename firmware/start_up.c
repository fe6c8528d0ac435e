// Start-up on the target. The host loads the image and writes the program counter, nothing else: what an application
// has left of the core is ours to undo. Ends in the endless loop over the mailbox.
#include <core.h>

#include "firmware/commands.h"
#include "firmware/mailbox.h"

// From the linker script and the generation's file.
extern uint32_t g_stackTop[];
extern uint32_t g_bssStart[];
extern uint32_t g_bssEnd[];
extern const Workspace g_workspace;

void ResetISR(void);
void FaultISR(void);
void StartFlashloader(uint32_t control);
void FlashloaderAnswered(void);

typedef union {
    uint32_t* stackTop;
    void (*handler)(void);
} Vector;

enum { kVectorCount = 16 };  // the core's own exceptions; interrupts stay masked

__attribute__((section(".vectors"), used)) static const Vector kVectors[kVectorCount] = {
    {.stackTop = g_stackTop}, {.handler = ResetISR}, {.handler = FaultISR}, {.handler = FaultISR},
    {.handler = FaultISR},    {.handler = FaultISR}, {.handler = FaultISR}, {.handler = FaultISR},
    {.handler = FaultISR},    {.handler = FaultISR}, {.handler = FaultISR}, {.handler = FaultISR},
    {.handler = FaultISR},    {.handler = FaultISR}, {.handler = FaultISR}, {.handler = FaultISR},
};

// The core's own registers.
static volatile uint32_t* const kVectorTableOffset = (volatile uint32_t*)0xE000ED08u;
static volatile uint32_t* const kConfigurationControl = (volatile uint32_t*)0xE000ED14u;
static const uint32_t kTrapUnalignedAndDivision = 0x18;

// An application may have been halted with its interrupts on, its faults masked, its memory protected, and on the
// process stack. Without privilege none of this takes effect, and the register of the control bits says so.
__attribute__((naked)) void ResetISR(void) {
    __asm__ volatile(
        "cpsid i                \n"
        "movs  r0, #0           \n" UNDO_FAULT_MASKS
        "msr   control, r0      \n"
        "isb                    \n"
        "ldr   r1, =g_stackTop  \n"
        "mov   sp, r1           \n"
        "mrs   r2, control      \n"
        "lsls  r1, r2, #31      \n"
        "bne   1f               \n"
        "ldr   r1, =0xE000ED94  \n"  // the memory protection unit's control
        "str   r0, [r1]         \n"
        "dsb                    \n"
        "isb                    \n"
        "1:                     \n"
        "mov   r0, r2           \n"
        "ldr   r1, =StartFlashloader \n"
        "bx    r1               \n"
        ".pool                  \n");
}

// Parks the core here for good. Needs no stack of its own, in case the stack is what broke.
void FaultISR(void) {
    uint32_t exceptionNumber;
    __asm__ volatile("mrs %0, ipsr" : "=r"(exceptionNumber));
    g_fault = 0xFA170000u | exceptionNumber;
    for (;;) {
    }
}

// The new vector table holds, and unaligned accesses are allowed, before anything comes that needs them.
static void TakeOverCore(void) {
    *kVectorTableOffset = (uint32_t)kVectors;
    *kConfigurationControl &= ~kTrapUnalignedAndDivision;
    __asm__ volatile("dsb \n isb \n" ::: "memory");
}

// Debug probes that have to stop the core to look at it set a breakpoint here: a command was answered, and nothing is
// under way. The first instruction may be left out, so that a probe can step over it by the program counter.
__attribute__((naked, noinline, used)) void FlashloaderAnswered(void) { __asm__ volatile("nop \n bx lr \n"); }

__attribute__((used)) void StartFlashloader(uint32_t control) {
    if ((control & 1u) != 0) {
        g_fault = kFaultUnprivileged;
        for (;;) {
        }
    }
    TakeOverCore();
    for (uint32_t* word = g_bssStart; word < g_bssEnd; ++word) {
        *word = 0;
    }
    __asm__ volatile("" ::: "memory");  // what was cleared are variables that the compiler knows by other names

    static LoadState state;
    g_fault = BeginLoad(&state, &g_workspace);
    for (;;) {
        if (MailboxPoll(&state)) {
            FlashloaderAnswered();
        }
    }
}
