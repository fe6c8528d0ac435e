// The flash port: all that the flashloader asks of a flash controller. Porting to another controller means writing one
// file that defines these functions; docs/flashloader-guide.md says how, step by step.
#ifndef FIRMWARE_FLASH_PORT_H
#define FIRMWARE_FLASH_PORT_H

#include <stdbool.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

// What the controller's state machine says, in the numbers that the host puts into words. One byte of the status word.
typedef uint8_t FsmStatus;
enum {
    kFsmSuccess = 0,
    kFsmBusy = 1,  // also: the command's time is up
    kFsmReady = 2,
    kFsmIncorrectParameter = 3,
    kFsmFailed = 4,
    kFsmNotSupported = 0xFF,  // of `FlashPortEraseBank` alone, with nothing touched: the host is refused
};

// Bits of flash that lock the chip from the next power-up on once all of them are clear.
typedef struct {
    uint32_t address;
    uint8_t bits;
} FlashLock;

enum { kMostUnitBytes = 32, kMostLocks = 4, kMostSectors = 255 };

// What kind of flash it is.
typedef struct {
    uint32_t unitBytes;            // what one program operation writes: a power of two, 1 to `kMostUnitBytes`
    bool isRewritable;             // a unit that holds something may be programmed again, which clears further bits
    uint32_t ticksPerMillisecond;  // of `ClockTicks`: the core's clock in kHz, unless the port has a clock of its own
    uint32_t lockCount;            // 0 to `kMostLocks`, may be 0
    const FlashLock* locks;        // in the order in which they are closed, after all else
} FlashTraits;

// Once, before anything else of the port, whose registers are reached by firmware/registers.h: unlocks the controller,
// clears errors that the application left behind, sets up clocks, caches and wait states.
void FlashPortBegin(void);

// Stays as it is from `FlashPortBegin` on.
const FlashTraits* FlashPortTraits(void);

// Again and again: while the mailbox is idle, from `DeadlineHasPassed`, and between long looks at flash, which at 4 MHz
// is every 30 ms at least. A port with a watchdog feeds it here, one with a window only when that is open.
void FlashPortIdle(void);

// Flash as memory: element n is the byte at flash address n. Reads must show the result of every finished operation,
// so a port whose chip caches flash switches the cache off or empties it.
const uint8_t* FlashPortBytes(void);

// Sectors of this device, 1 to `kMostSectors`. With another number the flashloader refuses to start.
uint32_t FlashPortSectorCount(void);

// A sector of which a part is protected is protected: the bank erase is then not expected to leave it blank, and
// `FlashPortEraseSector` fails before it touches any of it.
bool FlashPortIsProtected(uint32_t sectorIndex);

// Whether the unit can be programmed. Asked only where units are written once, of units that read as all ones: those
// may have been programmed with ones.
bool FlashPortIsBlank(uint32_t unitAddress);

// Errors that stay are cleared before an operation, and what an ECC has put right is none; the result is the
// operation's own, 0 to 4. Each operation waits until the controller is idle, runs, and waits for its end. While it
// waits it asks `DeadlineHasPassed` (firmware/deadline.h) every millisecond or more often, and returns kFsmBusy when
// that says so. The controller is idle on return unless the result is kFsmBusy.
FsmStatus FlashPortEraseSector(uint32_t sectorAddress);
FsmStatus FlashPortEraseBank(void);  // every sector that is not protected; kFsmNotSupported if the controller cannot

// Makes a run of units, from a multiple of their size on and within one sector, read as the bytes given, which can only
// clear bits: asked for a 1 where flash holds a 0, a unit fails. Where units are written once all of the run's are
// blank. The units are programmed in ascending order, those of all ones passed over. The first failure ends the run:
// its status is the result, and no later unit is started. `bytes` have any alignment.
//
// A load spends most of its time in here, so have the next unit ready when the controller ends one, and give what is
// left of the wait to the checksums: `SumWhileBusy` (firmware/sums.h).
FsmStatus FlashPortProgramUnits(uint32_t unitAddress, const uint8_t* bytes, uint32_t unitCount);

#ifdef __cplusplus
}
#endif
#endif
