// The flash port for the virtual chip's controller. The only file that knows its registers.
#include "firmware/flash_port.h"

#include <stddef.h>

#include "firmware/load_word.h"

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

// A poll takes at least 6 cycles, and no more than 24 on a slow bus, so at 48 MHz two million of them are 0.25 s to 1
// s. That is over ten times the 20 ms of a bank erase, the longest operation, and well under the 2000 ms after which
// the host gives up: it gets a status and not a time-out. A word takes 8 us; its bound is 12 ms to 50 ms.
enum { kErasePolls = 2000000, kProgramPolls = 100000 };

extern uint8_t g_flash[];  // from the linker script: address 0, which C would take for no object at all

const uint8_t* FlashPortBytes(void) { return g_flash; }

uint32_t FlashPortSectorCount(void) { return *kSize & 0xFFu; }

// Sectors from 64 on share the bits of sectors 32 to 63.
bool FlashPortIsProtected(uint32_t sectorIndex) {
    const uint32_t word = kController->protection[sectorIndex < 32 ? 0 : 1];
    return (word >> (sectorIndex % 32) & 1u) == 0;
}

static FsmStatus AwaitIdle(uint32_t polls) {
    FsmStatus status = kFsmBusy;
    while (status == kFsmBusy && polls-- > 0) {
        status = (FsmStatus)(kController->status & 0xFFu);
    }
    return status;
}

static void Start(uint32_t code) { kController->command = kCommandKey | code; }

static FsmStatus Erase(uint32_t code, uint32_t address) {
    if (AwaitIdle(kErasePolls) == kFsmBusy) {
        return kFsmBusy;
    }
    kController->address = address;
    Start(code);
    return AwaitIdle(kErasePolls);
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
// while the controller works on the one before, but for the start itself.
FsmStatus FlashPortProgramWords(uint32_t wordAddress, const uint8_t* bytes, uint32_t wordCount) {
    uint32_t index = NextToProgram(bytes, 0, wordCount);
    if (index == wordCount) {
        return kFsmSuccess;
    }
    if (AwaitIdle(kProgramPolls) == kFsmBusy) {
        return kFsmBusy;
    }
    HandOver(wordAddress, bytes, index);
    Start(kCodeProgramWord);
    index = NextToProgram(bytes, index + 1, wordCount);
    while (index < wordCount) {
        HandOver(wordAddress, bytes, index);
        index = NextToProgram(bytes, index + 1, wordCount);
        const FsmStatus status = AwaitIdle(kProgramPolls);
        if (status != kFsmSuccess) {
            return status;
        }
        Start(kCodeProgramWord);
    }
    return AwaitIdle(kProgramPolls);
}
