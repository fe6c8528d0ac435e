// What the flashloader does for each command, apart from registers and from the mailbox that brings the commands. The
// contract, byte for byte, is in docs/flashloader-guide.md.
#ifndef FIRMWARE_COMMANDS_H
#define FIRMWARE_COMMANDS_H

#include <stdint.h>

#include "firmware/flash_port.h"

#ifdef __cplusplus
extern "C" {
#endif

// One command and its answer, as it lies in the mailbox, little-endian.
typedef struct {
    uint32_t address;   // of the first flash byte; after kStatusVerificationIssue, of the byte at fault
    uint32_t length;    // in bytes; for kCommandEraseSectors the last byte's address minus the first one's
    uint32_t command;   // a code below, a program command perhaps with kVerifyCrcFlag
    uint32_t crc;       // of the chunk, when the flag is set
    uint32_t status;    // kStatusNotDone when posted, else the answer
    uint32_t reserved;  // nobody's
} CommandBlock;

enum {
    kCommandBankErase = 1,      // all unprotected flash
    kCommandProgram = 2,        // no erase
    kCommandProgramErase = 3,   // erases the sectors that the chunk touches
    kCommandProgramRetain = 4,  // keeps what the touched sectors hold elsewhere
    kCommandEraseSectors = 5,
    kCommandBlankCheck = 6,
    kVerifyCrcFlag = 0x10,
};

// Bits 0 to 15 of the status word. kStatusEraseFailed and kStatusProgramFailed carry the FsmStatus in bits 16 to 23,
// kStatusEraseFailed the sector's index in bits 24 to 31.
enum {
    kStatusSuccess = 0,
    kStatusEraseFailed = 0x102,
    kStatusProgramFailed = 0x103,
    kStatusInvalidArguments = 0x104,
    kStatusUnknownCommand = 0x105,
    kStatusVerificationIssue = 0x106,
};

// A stack that has grown over its end has changed one of these words before it comes to anything else.
enum { kGuardWords = 8 };
static const uint32_t kGuardPaint = 0x5AFE57ACu;

// The memory that the generation's file sets aside, and what that makes a sector.
typedef struct {
    uint32_t sectorBytes;
    const uint8_t* buffers[2];  // one sector each, filled by the host
    uint8_t* scratch;           // one sector, while it is rewritten
    uint32_t* stackGuard;       // `kGuardWords` words below the stack, painted when a load begins
} Workspace;

// All that lasts from one command to the next. Begin with `freshSectors` all zero.
typedef struct {
    const Workspace* workspace;
    // One bit per sector that holds nothing older than this load of the flashloader: commands 3 and 5 do not erase
    // it again, so they cannot destroy what the load has programmed.
    uint32_t freshSectors[(kMostSectors + 31) / 32];
} LoadState;

// What stops the flashloader before it answers anything, as the host finds it in `g_fault`.
static const uint32_t kFaultSectorCount = 0xFA180001u;   // the port has no sectors, or more than `kMostSectors`
static const uint32_t kFaultTraits = 0xFA180002u;        // the port's traits are out of bounds
static const uint32_t kFaultUnprivileged = 0xFA180003u;  // the core was let go without privilege: it cannot be taken
static const uint32_t kFaultStack = 0xFA180004u;         // the stack has reached its guard

// Begins a load: the port first. Gives one of the faults, or 0.
uint32_t BeginLoad(LoadState* state, const Workspace* workspace);

// Runs one command on the data in that buffer and gives the status word. Changes only `block->address`, and that only
// with kStatusVerificationIssue.
uint32_t RunCommand(LoadState* state, CommandBlock* block, const uint8_t* buffer);

#ifdef __cplusplus
}
#endif
#endif
