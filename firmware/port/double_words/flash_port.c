// The flash port for the virtual chip with a controller of another kind: double words that are written once, pages of
// 2 KiB, protection told with ones, a watchdog of 100 ms. It runs on the workstation, too: all registers
// go through firmware/registers.h.
#include "firmware/flash_port.h"

#include "firmware/commands.h"
#include "firmware/deadline.h"
#include "firmware/load_word.h"
#include "firmware/port/ccfg_locks.h"
#include "firmware/registers.h"

enum {
    kSize = 0x4003002C,     // R   bits 7..0: sectors
    kCommand = 0x40030100,  // W   key and code
    kAddress = 0x40030104,  // RW
    kData = 0x40030108,     // RW  the lower word of the unit
    kStatus = 0x4003010C,   // R   bits 7..0: FsmStatus
    kProtection =
        0x40030110,  // R   two words; bit n set: sector n is protected, from 64 on they share the second word's
    kDataAbove = 0x40030118,  // RW  the upper word
    kBlank = 0x40030134,      // R   1: the unit at ADDRESS was not programmed yet
    kFeed = 0x40030138,       // W   anything feeds the watchdog
};
static const uint32_t kKey = 0xF1A50000u;
enum { kCodeErasePage = 1, kCodeProgram = 2, kCodeEraseBank = 3 };
enum { kUnitBytes = 8, kPageBytes = 2048 };

// Between two looks at the clock: 0.1 ms and less.
enum { kPollsPerLook = 256 };

extern const Workspace g_workspace;

static FlashLock locks[kCcfgLocks];
static const FlashTraits kTraits = {.unitBytes = kUnitBytes,
                                    .isRewritable = false,
                                    .ticksPerMillisecond = 48000,
                                    .lockCount = kCcfgLocks,
                                    .locks = locks};

void FlashPortBegin(void) { FindCcfgLocks(locks); }

const FlashTraits* FlashPortTraits(void) { return &kTraits; }

void FlashPortIdle(void) { WriteRegister(kFeed, 1); }

const uint8_t* FlashPortBytes(void) { return FlashMemory(); }

uint32_t FlashPortSectorCount(void) { return ReadRegister(kSize) & 0xFFu; }

bool FlashPortIsProtected(uint32_t sectorIndex) {
    return (ReadRegister(sectorIndex < 32 ? kProtection : kProtection + 4) >> (sectorIndex % 32) & 1u) != 0;
}

bool FlashPortIsBlank(uint32_t unitAddress) {
    WriteRegister(kAddress, unitAddress);
    return ReadRegister(kBlank) == 1;
}

static FsmStatus AwaitIdle(void) {
    FsmStatus fsmStatus = kFsmBusy;
    do {
        for (uint32_t polls = kPollsPerLook; fsmStatus == kFsmBusy && polls > 0; --polls) {
            fsmStatus = (FsmStatus)(ReadRegister(kStatus) & 0xFFu);
        }
    } while (fsmStatus == kFsmBusy && !DeadlineHasPassed());
    return fsmStatus;
}

static FsmStatus Operate(uint32_t code, uint32_t address) {
    if (AwaitIdle() == kFsmBusy) {
        return kFsmBusy;
    }
    WriteRegister(kAddress, address);
    WriteRegister(kCommand, kKey | code);
    return AwaitIdle();
}

// Protection is told by sectors, so the first page is refused when any would be.
FsmStatus FlashPortEraseSector(uint32_t sectorAddress) {
    FsmStatus fsmStatus = kFsmSuccess;
    for (uint32_t page = 0; page < g_workspace.sectorBytes && fsmStatus == kFsmSuccess; page += kPageBytes) {
        fsmStatus = Operate(kCodeErasePage, sectorAddress + page);
    }
    return fsmStatus;
}

FsmStatus FlashPortEraseBank(void) { return Operate(kCodeEraseBank, 0); }

FsmStatus FlashPortProgramUnits(uint32_t unitAddress, const uint8_t* bytes, uint32_t unitCount) {
    FsmStatus fsmStatus = kFsmSuccess;
    for (; unitCount > 0 && fsmStatus == kFsmSuccess; --unitCount) {
        const uint32_t low = LoadWord(bytes);
        const uint32_t high = LoadWord(bytes + 4);
        if ((low & high) != 0xFFFFFFFFu) {
            WriteRegister(kData, low);
            WriteRegister(kDataAbove, high);
            fsmStatus = Operate(kCodeProgram, unitAddress);
        }
        unitAddress += kUnitBytes;
        bytes += kUnitBytes;
    }
    return fsmStatus;
}
