// A port for tests on an emulated board: flash is memory. Once the posted command is answered, or cannot be, it tells
// what has come of it and ends the emulation.
#include "firmware/flash_port.h"

#include "firmware/mailbox.h"
#include "tests/firmware/board/report.h"

extern uint8_t g_flash[];

enum { kSectorBytes = 4096, kUnitBytes = 4 };

static const FlashTraits kTraits = {.unitBytes = kUnitBytes, .isRewritable = true, .ticksPerMillisecond = 25000};

void FlashPortBegin(void) {}
const FlashTraits* FlashPortTraits(void) { return &kTraits; }
const uint8_t* FlashPortBytes(void) { return g_flash; }
uint32_t FlashPortSectorCount(void) { return 4; }

bool FlashPortIsProtected(uint32_t sectorIndex) {
    (void)sectorIndex;
    return false;
}

bool FlashPortIsBlank(uint32_t unitAddress) {
    (void)unitAddress;
    return true;
}

void FlashPortIdle(void) {
    if (g_fault != 0) {
        ReportNumber("fault", g_fault);
    } else if (g_cfg[0].status != kStatusNotDone) {
        ReportNumber(g_flash[0x1002] == 0x31 && g_flash[0x100A] == 0x39 ? "programmed, status" : "wrong, status",
                     g_cfg[0].status);
    }
}

FsmStatus FlashPortEraseSector(uint32_t sectorAddress) {
    for (uint32_t i = 0; i < kSectorBytes; ++i) {
        g_flash[sectorAddress + i] = 0xFF;
    }
    return kFsmSuccess;
}

FsmStatus FlashPortEraseBank(void) { return kFsmNotSupported; }

// A word at a time from wherever it lies, as a port for real flash reads it.
FsmStatus FlashPortProgramUnits(uint32_t unitAddress, const uint8_t* bytes, uint32_t unitCount) {
    for (uint32_t i = 0; i < unitCount; ++i) {
        uint32_t word;
        __builtin_memcpy(&word, bytes + 4 * i, sizeof word);
        *(volatile uint32_t*)(g_flash + unitAddress + 4 * i) = word;
    }
    return kFsmSuccess;
}
