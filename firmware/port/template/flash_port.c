// A flash port to copy and adapt: each place that depends on the controller says ADAPT. It is complete, for the
// imaginary controller of registers.h, and the checks of firmware/check run all commands on it over model.c.
#include "firmware/flash_port.h"

#include "firmware/commands.h"
#include "firmware/deadline.h"
#include "firmware/load_word.h"
#include "firmware/registers.h"
#include "registers.h"

extern const Workspace g_workspace;

// ADAPT: what kind of flash it is. No locks: nothing in flash locks this chip.
enum { kUnitBytes = 8 };
static const FlashTraits kTraits = {.unitBytes = kUnitBytes, .isRewritable = false, .ticksPerMillisecond = 16000};

// ADAPT: how many looks at the status take about 0.1 ms.
enum { kPollsPerLook = 50 };

// ADAPT: unlock the controller, clear errors that the application left behind, set clocks, wait states and caches.
void FlashPortBegin(void) {
    WriteRegister(kRegisterKey, kFirstKey);
    WriteRegister(kRegisterKey, kSecondKey);
    WriteRegister(kRegisterCache, 0);
    WriteRegister(kRegisterStatus, kStatusErrors);
    FlashPortIdle();
}

const FlashTraits* FlashPortTraits(void) { return &kTraits; }

// ADAPT: feed the watchdog, or do nothing. One that must not be fed too early is asked first how far it is.
void FlashPortIdle(void) { WriteRegister(kRegisterFeed, kFood); }

const uint8_t* FlashPortBytes(void) { return FlashMemory(); }

// ADAPT: from a register, if devices differ. The size of a sector is the plug-in's, that of a page the controller's.
uint32_t FlashPortSectorCount(void) { return kPageCount * kPageBytes / g_workspace.sectorBytes; }

// ADAPT: true if any part of the sector is protected.
bool FlashPortIsProtected(uint32_t sectorIndex) {
    const uint32_t pagesPerSector = g_workspace.sectorBytes / kPageBytes;
    const uint32_t pages = ((1u << pagesPerSector) - 1) << (sectorIndex * pagesPerSector);
    return (ReadRegister(kRegisterProtection) & pages) != 0;
}

// ADAPT: if the controller can tell a unit that was programmed with ones from one that was not. This one cannot.
bool FlashPortIsBlank(uint32_t unitAddress) {
    (void)unitAddress;
    return true;
}

// ADAPT: the controller's errors in the numbers that hosts have words for. They are cleared here, so that the next
// operation begins without them.
static FsmStatus TakeResult(void) {
    const uint32_t errors = ReadRegister(kRegisterStatus) & kStatusErrors;
    WriteRegister(kRegisterStatus, errors);
    return errors == 0 ? (FsmStatus)kFsmSuccess : (FsmStatus)kFsmFailed;
}

static FsmStatus AwaitIdle(void) {
    do {
        for (uint32_t polls = 0; polls < kPollsPerLook; ++polls) {
            if ((ReadRegister(kRegisterStatus) & kStatusBusyBit) == 0) {
                return TakeResult();
            }
        }
    } while (!DeadlineHasPassed());
    return kFsmBusy;
}

// What is left over from before is waited for, and what came of it is not our result.
static FsmStatus Operate(uint32_t control, uint32_t address) {
    if (AwaitIdle() == kFsmBusy) {
        return kFsmBusy;
    }
    WriteRegister(kRegisterAddress, address);
    WriteRegister(kRegisterControl, control);
    return AwaitIdle();
}

FsmStatus FlashPortEraseSector(uint32_t sectorAddress) {
    if (FlashPortIsProtected(sectorAddress / g_workspace.sectorBytes)) {
        return kFsmFailed;
    }
    FsmStatus fsmStatus = kFsmSuccess;
    for (uint32_t page = 0; page < g_workspace.sectorBytes && fsmStatus == kFsmSuccess; page += kPageBytes) {
        fsmStatus = Operate(kControlErasePage, sectorAddress + page);
    }
    return fsmStatus;
}

// ADAPT: if the controller can.
FsmStatus FlashPortEraseBank(void) { return kFsmNotSupported; }

static bool AreAllOnes(const uint8_t* bytes) { return (LoadWord(bytes) & LoadWord(bytes + 4)) == 0xFFFFFFFFu; }

FsmStatus FlashPortProgramUnits(uint32_t unitAddress, const uint8_t* bytes, uint32_t unitCount) {
    FsmStatus fsmStatus = kFsmSuccess;
    for (; unitCount > 0 && fsmStatus == kFsmSuccess; --unitCount) {
        if (!AreAllOnes(bytes)) {
            WriteRegister(kRegisterDataLow, LoadWord(bytes));
            WriteRegister(kRegisterDataHigh, LoadWord(bytes + 4));
            fsmStatus = Operate(kControlProgram, unitAddress);
        }
        unitAddress += kUnitBytes;
        bytes += kUnitBytes;
    }
    return fsmStatus;
}
