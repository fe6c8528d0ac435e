// Start-up on the target. The host loads the image and writes the program counter, nothing else: stack pointer, vector
// table and cleared memory are ours to set. Ends in the endless loop over the mailbox.
#include "firmware/commands.h"
#include "firmware/mailbox.h"

// From the linker script and the generation's file.
extern uint32_t g_stackTop[];
extern uint32_t g_bssStart[];
extern uint32_t g_bssEnd[];
extern const Workspace g_workspace;

void ResetISR(void);
void FaultISR(void);
void StartFlashloader(void);

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

// The core's vector table offset register.
static const uintptr_t kVectorTableOffset = 0xE000ED08u;

// Zero while all is well; 0xFA170000 with the exception's number after a fault.
volatile uint32_t g_fault;

// An application may have been halted with its interrupts on and on the process stack.
__attribute__((naked)) void ResetISR(void) {
    __asm__ volatile(
        "cpsid i                          \n"
        "movs  r0, #0                     \n"
        "msr   control, r0                \n"
        "isb                              \n"
        "movw  r0, #:lower16:g_stackTop   \n"
        "movt  r0, #:upper16:g_stackTop   \n"
        "mov   sp, r0                     \n"
        "b     StartFlashloader           \n");
}

// Parks the core here for good. Needs no stack of its own, in case the stack is what broke.
void FaultISR(void) {
    uint32_t exceptionNumber;
    __asm__ volatile("mrs %0, ipsr" : "=r"(exceptionNumber));
    g_fault = 0xFA170000u | exceptionNumber;
    for (;;) {
    }
}

void StartFlashloader(void) {
    *(volatile uint32_t*)kVectorTableOffset = (uint32_t)kVectors;
    for (uint32_t* word = g_bssStart; word < g_bssEnd; ++word) {
        *word = 0;
    }

    static LoadState state;
    state.workspace = &g_workspace;
    for (;;) {
        MailboxPoll(&state);
    }
}
