// Checksums of chunks, added up while the flash controller works and the core would only wait: of the chunk in work,
// behind what the controller has been given, and of the next one as soon as its block is posted. A port that gives no
// time for it loses some: what has not been summed up when the sum is asked for is summed up then.
#ifndef FIRMWARE_SUMS_H
#define FIRMWARE_SUMS_H

#include <stdint.h>

#include "firmware/commands.h"

#ifdef __cplusplus
extern "C" {
#endif

// A command begins: `next` is the block that comes after it, with its buffer and that buffer's size. What has been
// summed up of the command's own chunk while it was the next one stays good.
void SumsTurn(const volatile CommandBlock* next, const uint8_t* nextBuffer, uint32_t bufferBytes);

// All is forgotten, and no block comes next.
void SumsForget(void);

// CRC-32 of a chunk in that buffer, before anything of it is programmed.
uint32_t SumOfArrived(const uint8_t* buffer, uint32_t length);

// CRC-32 of the same chunk after it has been programmed. Each byte is looked at after the controller was given it, so
// together with a comparison of flash and buffer this tells what a sum over flash would.
uint32_t SumOfProgrammed(const uint8_t* buffer, uint32_t length);

// For ports, while the controller works: it has been given the first `givenBytes` from `bytes` on. Takes the core some
// 3 cycles for each byte given since the last call, and at most that for each of `aheadBytes` of the next chunk.
void SumWhileBusy(const uint8_t* bytes, uint32_t givenBytes, uint32_t aheadBytes);

#ifdef __cplusplus
}
#endif
#endif
