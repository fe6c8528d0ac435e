// The flash port for the virtual chip's controller. The only file that knows its registers.
#include "firmware/flash_port.h"

#include <stddef.h>

#include "firmware/commands.h"
#include "firmware/deadline.h"
#include "firmware/load_word.h"
#include "firmware/port/ccfg_locks.h"
#include "firmware/sums.h"

// All registers are 32 bits wide and accessed as aligned words.
typedef struct {
    volatile uint32_t command;              // W   key and code
    volatile uint32_t address;              // RW
    volatile uint32_t data;                 // RW
    volatile uint32_t status;               // R   bits 7..0: FsmStatus
    volatile const uint32_t protection[2];  // R   bit n of word 0: sector n, of word 1: sector n + 32; 0 = protected
} FlashController;

_Static_assert(offsetof(FlashController, command) == 0x00, "0x40030100");
_Static_assert(offsetof(FlashController, address) == 0x04, "0x40030104");
_Static_assert(offsetof(FlashController, data) == 0x08, "0x40030108");
_Static_assert(offsetof(FlashController, status) == 0x0C, "0x4003010C");
_Static_assert(offsetof(FlashController, protection) == 0x10, "0x40030110, 0x40030114");

static FlashController* const kController = (FlashController*)0x40030100u;
static volatile const uint32_t* const kSize = (volatile const uint32_t*)0x4003002Cu;  // bits 7..0: sectors

static const uint32_t kErasedWord = 0xFFFFFFFFu;
static const uint32_t kCommandKey = 0xF1A50000u;
enum { kCodeEraseSector = 1, kCodeProgramWord = 2, kCodeEraseBank = 3 };

// Between two looks at the clock: 0.1 ms and less. A word takes fewer, so that nothing but the status is looked at
// while it is programmed.
enum { kPollsPerLook = 256, kPollsPerWord = 64 };

// Of the next chunk, summed up while one word is programmed: some 270 of the 384 cycles that a word takes.
enum { kAheadBytesPerWord = 72 };

extern const Workspace g_workspace;
extern uint8_t g_flash[];  // from the linker script: address 0, which C would take for no object at all

const uint8_t* FlashPortBytes(void) { return g_flash; }

static FlashLock locks[kCcfgLocks];
static const FlashTraits kTraits = {
    .unitBytes = 4, .isRewritable = true, .ticksPerMillisecond = 48000, .lockCount = kCcfgLocks, .locks = locks};

void FlashPortBegin(void) { FindCcfgLocks(locks); }

const FlashTraits* FlashPortTraits(void) { return &kTraits; }

void FlashPortIdle(void) {}

uint32_t FlashPortSectorCount(void) { return *kSize & 0xFFu; }

// Sectors from 64 on share the bits of sectors 32 to 63.
bool FlashPortIsProtected(uint32_t sectorIndex) {
    const uint32_t word = kController->protection[sectorIndex < 32 ? 0 : 1];
    return (word >> (sectorIndex % 32) & 1u) == 0;
}

bool FlashPortIsBlank(uint32_t unitAddress) {
    (void)unitAddress;  // what reads as ones can be programmed
    return true;
}

static FsmStatus Status(void) { return (FsmStatus)(kController->status & 0xFFu); }

static FsmStatus AwaitIdle(void) {
    FsmStatus status = kFsmBusy;
    do {
        for (uint32_t polls = kPollsPerLook; status == kFsmBusy && polls > 0; --polls) {
            status = Status();
        }
    } while (status == kFsmBusy && !DeadlineHasPassed());
    return status;
}

// The end of a word that goes well is seen soonest by looking for nothing else.
static FsmStatus AwaitWord(void) {
    for (uint32_t polls = kPollsPerWord; polls > 0; polls -= 8) {
        if (Status() == kFsmSuccess || Status() == kFsmSuccess || Status() == kFsmSuccess || Status() == kFsmSuccess ||
            Status() == kFsmSuccess || Status() == kFsmSuccess || Status() == kFsmSuccess || Status() == kFsmSuccess) {
            return kFsmSuccess;
        }
    }
    return AwaitIdle();
}

static void Start(uint32_t code) { kController->command = kCommandKey | code; }

static FsmStatus Erase(uint32_t code, uint32_t address) {
    if (AwaitIdle() == kFsmBusy) {
        return kFsmBusy;
    }
    kController->address = address;
    Start(code);
    return AwaitIdle();
}

FsmStatus FlashPortEraseSector(uint32_t sectorAddress) { return Erase(kCodeEraseSector, sectorAddress); }

FsmStatus FlashPortEraseBank(void) { return Erase(kCodeEraseBank, 0); }

// Index of the first word from `index` on that is not all ones, `wordCount` when there is none.
static uint32_t NextToProgram(const uint8_t* bytes, uint32_t index, uint32_t wordCount) {
    while (index < wordCount && LoadWord(bytes + 4 * index) == kErasedWord) {
        ++index;
    }
    return index;
}

static void HandOver(uint32_t wordAddress, const uint8_t* bytes, uint32_t index) {
    kController->address = wordAddress + 4 * index;
    kController->data = LoadWord(bytes + 4 * index);
}

// The controller takes address and data over when an operation starts. So all that the core does for a word is done
// while the controller works on the one before, but for the start itself; and what time is left goes to the checksums.
FsmStatus FlashPortProgramUnits(uint32_t unitAddress, const uint8_t* bytes, uint32_t unitCount) {
    uint32_t index = NextToProgram(bytes, 0, unitCount);
    if (index == unitCount) {
        return kFsmSuccess;
    }
    if (AwaitIdle() == kFsmBusy) {
        return kFsmBusy;
    }
    HandOver(unitAddress, bytes, index);
    Start(kCodeProgramWord);
    index = NextToProgram(bytes, index + 1, unitCount);
    while (index < unitCount) {
        HandOver(unitAddress, bytes, index);
        SumWhileBusy(bytes, 4 * (index + 1), kAheadBytesPerWord);
        index = NextToProgram(bytes, index + 1, unitCount);
        const FsmStatus status = AwaitWord();
        if (status != kFsmSuccess) {
            return status;
        }
        Start(kCodeProgramWord);
    }
    return AwaitIdle();
}
