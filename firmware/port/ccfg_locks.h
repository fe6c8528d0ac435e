// The fields of CCFG that lock a `Lumo` chip, whatever its controller: the bit that protects CCFG's own sector goes
// alone, because one bit cannot be torn; then the debug port, because a chip that is only protected can still be looked
// at.
#ifndef FIRMWARE_PORT_CCFG_LOCKS_H
#define FIRMWARE_PORT_CCFG_LOCKS_H

#include "firmware/commands.h"
#include "firmware/flash_port.h"

enum { kCcfgLocks = 2 };

// By their offset from the end of flash.
enum {
    kDebugPortFromEnd = 0x29,   // one byte; 0x00 closes the debug port
    kProtectionFromEnd = 0x20,  // two words; bit n clear protects sector n, from 64 on those share the second word's
};

extern const Workspace g_workspace;

static inline void FindCcfgLocks(FlashLock* locks) {
    const uint32_t last = FlashPortSectorCount() - 1;
    const uint32_t end = (last + 1) * g_workspace.sectorBytes;
    const uint32_t protectionByte = end - kProtectionFromEnd + (last < 32 ? 0 : 4) + last % 32 / 8;
    locks[0] = (FlashLock){protectionByte, (uint8_t)(1u << last % 8)};
    locks[1] = (FlashLock){end - kDebugPortFromEnd, 0xFF};
}

#endif
