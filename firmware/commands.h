// What the flashloader does for each command, apart from registers and from the mailbox that brings the commands. The
// contract, byte for byte, is in docs/flashloader-guide.md.
#ifndef FIRMWARE_COMMANDS_H
#define FIRMWARE_COMMANDS_H

#include <stdint.h>

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

// The memory that the generation's file sets aside, and what that makes a sector.
typedef struct {
    uint32_t sectorBytes;
    const uint8_t* buffers[2];  // one sector each, filled by the host
    uint8_t* scratch;           // one sector, while command 4 rewrites it
} Workspace;

enum { kMaxSectors = 256 };

// All that lasts from one command to the next. Begin with `freshSectors` all zero.
typedef struct {
    const Workspace* workspace;
    // One bit per sector that holds nothing older than this load of the flashloader: commands 3 and 5 do not erase
    // it again, so they cannot destroy what the load has programmed.
    uint32_t freshSectors[kMaxSectors / 32];
} LoadState;

// Runs one command on the data in that buffer and gives the status word. Changes only `block->address`, and that only
// with kStatusVerificationIssue.
uint32_t RunCommand(LoadState* state, CommandBlock* block, const uint8_t* buffer);

#ifdef __cplusplus
}
#endif
#endif
