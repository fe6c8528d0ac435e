// Two sums that grow at their own pace. A sum that was begun for another chunk is begun anew.
#include "firmware/sums.h"

#include <stdatomic.h>
#include <stdbool.h>
#include <stddef.h>

#include "firmware/crc32.h"
#include "firmware/mailbox.h"

typedef struct {
    const uint8_t* buffer;  // NULL while there is nothing to sum up
    uint32_t length;        // of the chunk
    uint32_t done;          // bytes
    uint32_t crc;           // so far
} Sum;

static Sum arrived;     // of the chunk in work, while it was the next one
static Sum programmed;  // of the chunk in work
static Sum ahead;       // of the next one

static const volatile CommandBlock* nextBlock;
static const uint8_t* nextBuffer;
static uint32_t nextBufferBytes;

static Sum Begin(const uint8_t* buffer, uint32_t length) { return (Sum){buffer, length, 0, kCrc32Start}; }

static void Advance(Sum* sum, uint32_t bytes) {
    const uint32_t left = sum->length - sum->done;
    const uint32_t step = bytes < left ? bytes : left;
    sum->crc = Crc32Add(sum->crc, sum->buffer + sum->done, step);
    sum->done += step;
}

static uint32_t End(Sum* sum, const uint8_t* buffer, uint32_t length) {
    if (sum->buffer != buffer || sum->length != length) {
        *sum = Begin(buffer, length);
    }
    Advance(sum, length);
    sum->buffer = NULL;
    return ~sum->crc;
}

void SumsTurn(const volatile CommandBlock* next, const uint8_t* buffer, uint32_t bufferBytes) {
    arrived = ahead;
    programmed.buffer = NULL;
    ahead.buffer = NULL;
    nextBlock = next;
    nextBuffer = buffer;
    nextBufferBytes = bufferBytes;
}

void SumsForget(void) {
    ahead.buffer = NULL;
    SumsTurn(NULL, NULL, 0);
}

uint32_t SumOfArrived(const uint8_t* buffer, uint32_t length) {
    programmed = Begin(buffer, length);
    return End(&arrived, buffer, length);
}

uint32_t SumOfProgrammed(const uint8_t* buffer, uint32_t length) { return End(&programmed, buffer, length); }

// Whether there is a chunk to sum up. One that is longer than its buffer will be refused.
static bool BeginAhead(void) {
    if (nextBlock == NULL || nextBlock->status != kStatusNotDone) {
        return false;
    }
    atomic_thread_fence(memory_order_acquire);
    const uint32_t length = nextBlock->length;
    if ((nextBlock->command & kVerifyCrcFlag) == 0 || length > nextBufferBytes) {
        return false;
    }
    ahead = Begin(nextBuffer, length);
    return true;
}

void SumWhileBusy(const uint8_t* bytes, uint32_t givenBytes, uint32_t aheadBytes) {
    // Where pieces of the chunk were left out or given from elsewhere, the sum stays behind them.
    const uintptr_t given = (uintptr_t)bytes + givenBytes - ((uintptr_t)programmed.buffer + programmed.done);
    if (programmed.buffer != NULL && given <= givenBytes) {
        Advance(&programmed, (uint32_t)given);
    }
    if (ahead.buffer != NULL || BeginAhead()) {
        Advance(&ahead, aheadBytes);
    }
}
