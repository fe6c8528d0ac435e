// Taking the blocks in turn. The status word is the only synchronisation: the host's write of a block ends with it, and
// so does our answer.
#include "firmware/mailbox.h"

#include <stdatomic.h>
#include <stddef.h>

#include "firmware/sums.h"

_Static_assert(offsetof(CommandBlock, address) == 0, "written by the host");
_Static_assert(offsetof(CommandBlock, length) == 4, "written by the host");
_Static_assert(offsetof(CommandBlock, command) == 8, "written by the host");
_Static_assert(offsetof(CommandBlock, crc) == 12, "written by the host");
_Static_assert(offsetof(CommandBlock, status) == 16, "polled by the host");
_Static_assert(sizeof(CommandBlock) == 24, "the host finds the second block 24 bytes above the first");
_Static_assert(sizeof(g_cfg) == 48, "two blocks and nothing between them");
_Static_assert(sizeof(g_currBuf) == 4, "read by the host as one word");

// Initialised data, not zeroed memory: a fresh load reads as "success" before the core has run an instruction, and
// start-up code cannot wipe a command that was posted early.
__attribute__((section(".mailbox"))) volatile CommandBlock g_cfg[2] = {{.status = kStatusSuccess},
                                                                       {.status = kStatusSuccess}};

// Loaded, too: a host that asks before the core has run an instruction finds no fault that it did not have.
__attribute__((section(".mailbox"))) volatile uint32_t g_currBuf = 0;
__attribute__((section(".mailbox"))) volatile uint32_t g_fault = 0;

static bool IsGuardIntact(const Workspace* workspace) {
    const volatile uint32_t* guard = workspace->stackGuard;
    uint32_t i = 0;
    while (i < kGuardWords && guard[i] == kGuardPaint) {
        ++i;
    }
    return i == kGuardWords;
}

bool MailboxPoll(LoadState* state) {
    FlashPortIdle();
    const uint32_t current = g_currBuf;
    volatile CommandBlock* posted = &g_cfg[current];
    if (g_fault != 0 || posted->status != kStatusNotDone) {
        return false;
    }
    atomic_thread_fence(memory_order_acquire);
    CommandBlock block = {
        .address = posted->address, .length = posted->length, .command = posted->command, .crc = posted->crc};
    SumsTurn(&g_cfg[current ^ 1u], state->workspace->buffers[current ^ 1u], state->workspace->sectorBytes);
    const uint32_t status = RunCommand(state, &block, state->workspace->buffers[current]);
    // Below the stack lie the buffers: what has been programmed may not be what the host has sent.
    if (!IsGuardIntact(state->workspace)) {
        g_fault = kFaultStack;
        return false;
    }
    posted->address = block.address;
    atomic_thread_fence(memory_order_release);
    posted->status = status;
    g_currBuf = current ^ 1u;
    return true;
}
