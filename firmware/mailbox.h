// The mailbox: two command blocks in SRAM that the host posts and the flashloader answers, strictly in turn. Block n
// goes with data buffer n. The symbols' names are part of the contract with the host (docs/flashloader-guide.md).
#ifndef FIRMWARE_MAILBOX_H
#define FIRMWARE_MAILBOX_H

#include <stdbool.h>
#include <stdint.h>

#include "firmware/commands.h"

#ifdef __cplusplus
extern "C" {
#endif

// What the host writes last when it posts a block, and the flashloader replaces last when it answers.
static const uint32_t kStatusNotDone = 0xFFFFFFFFu;

extern volatile CommandBlock g_cfg[2];

// The block that the flashloader works on, or waits for.
extern volatile uint32_t g_currBuf;

// 0 while all is well. 0xFA170000 with the exception's number after a fault, or one of ours (firmware/commands.h). From
// then on nothing is answered.
extern volatile uint32_t g_fault;

// Runs the current block's command if it has been posted, and says whether it did.
bool MailboxPoll(LoadState* state);

#ifdef __cplusplus
}
#endif
#endif
