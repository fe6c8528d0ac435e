// A flash port without a flash controller: "flash" is RAM at `g_flash`. For emulated boards that have RAM there, so
// that a load can be tried through debug probes that reach nothing else; and the smallest port that there can be.
#include "firmware/flash_port.h"

#include <stddef.h>

#include "firmware/commands.h"
#include "firmware/load_word.h"

enum { kSectorCount = 44, kUnitBytes = 4 };

static const uint8_t kErasedByte = 0xFF;
static const FlashTraits kTraits = {
    .unitBytes = kUnitBytes, .isRewritable = true, .ticksPerMillisecond = 25000, .lockCount = 0, .locks = NULL};

extern const Workspace g_workspace;
extern uint8_t g_flash[];  // from the linker script: address 0, which C would take for no object at all

void FlashPortBegin(void) {}

const FlashTraits* FlashPortTraits(void) { return &kTraits; }

void FlashPortIdle(void) {}

const uint8_t* FlashPortBytes(void) { return g_flash; }

uint32_t FlashPortSectorCount(void) { return kSectorCount; }

bool FlashPortIsProtected(uint32_t sectorIndex) {
    (void)sectorIndex;
    return false;
}

bool FlashPortIsBlank(uint32_t unitAddress) {
    (void)unitAddress;
    return true;
}

static void Erase(uint32_t address, uint32_t length) {
    for (volatile uint8_t* byte = g_flash + address; length > 0; --length) {
        *byte++ = kErasedByte;
    }
}

FsmStatus FlashPortEraseSector(uint32_t sectorAddress) {
    Erase(sectorAddress, g_workspace.sectorBytes);
    return kFsmSuccess;
}

FsmStatus FlashPortEraseBank(void) {
    Erase(0, kSectorCount * g_workspace.sectorBytes);
    return kFsmSuccess;
}

// RAM could set bits, but what it stands for cannot.
FsmStatus FlashPortProgramUnits(uint32_t unitAddress, const uint8_t* bytes, uint32_t unitCount) {
    volatile uint32_t* unit = (volatile uint32_t*)(void*)(g_flash + unitAddress);
    for (; unitCount > 0; --unitCount, ++unit, bytes += kUnitBytes) {
        const uint32_t wanted = LoadWord(bytes);
        *unit &= wanted;
        if (*unit != wanted) {
            return kFsmFailed;
        }
    }
    return kFsmSuccess;
}
