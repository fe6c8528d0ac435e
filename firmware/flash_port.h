// The flash port: all that the flashloader asks of a flash controller. Porting to another controller means writing one
// file that defines these functions; docs/flashloader-guide.md says how.
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
    kFsmBusy = 1,  // also: the bounded wait ran out
    kFsmReady = 2,
    kFsmIncorrectParameter = 3,
    kFsmFailed = 4,
};

// Flash as memory: element n is the byte at flash address n. Reads must show the result of every finished operation,
// so a port whose chip caches flash switches the cache off or empties it.
const uint8_t* FlashPortBytes(void);

// Sectors of this device, at most 255.
uint32_t FlashPortSectorCount(void);

bool FlashPortIsProtected(uint32_t sectorIndex);

// Each operation waits, for a bounded time, until the controller is idle, runs, and waits for its end in the same way.
// The controller is idle on return unless the result is kFsmBusy.
FsmStatus FlashPortEraseSector(uint32_t sectorAddress);
FsmStatus FlashPortEraseBank(void);  // every sector that is not protected

// Makes a run of words, from a multiple of 4 on, read as the bytes given, which can only clear bits: asked for a 1
// where flash holds a 0, a word fails. The words are programmed in ascending order, those of all ones passed over. The
// first failure ends the run: its status is the result, and no later word is started. `bytes` have any alignment.
//
// A load spends most of its time in here, so have the next word ready when the controller ends one.
FsmStatus FlashPortProgramWords(uint32_t wordAddress, const uint8_t* bytes, uint32_t wordCount);

#ifdef __cplusplus
}
#endif
#endif
