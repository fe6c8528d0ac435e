// Going through the ranges. Erased ones are found without hashing: most of a blank chip is answered in no time.
#include "firmware/digest/digest.h"

#include <stdbool.h>

#include "firmware/load_word.h"

static const uint32_t kErasedWord = 0xFFFFFFFFu;

static uint32_t CommonBitsOfFourWords(const uint8_t* bytes) {
    return LoadWord(bytes) & LoadWord(bytes + 4) & LoadWord(bytes + 8) & LoadWord(bytes + 12);
}

static bool IsErased(const uint8_t* bytes, const uint8_t* end) {
    while (end - bytes >= 16 && CommonBitsOfFourWords(bytes) == kErasedWord) {
        bytes += 16;
    }
    while (bytes < end && *bytes == 0xFF) {
        ++bytes;
    }
    return bytes == end;
}

typedef struct {
    const uint8_t* bytes;
    uint32_t length;
} Piece;

// `first` has whole blocks.
static void Hash(const uint8_t* key, Piece first, Piece rest, uint8_t* tag) {
    Poly1305 poly;
    Poly1305Begin(&poly, key);
    Poly1305Absorb(&poly, first.bytes, first.length);
    Poly1305Absorb(&poly, rest.bytes, rest.length);
    Poly1305End(&poly, tag);
}

static void DigestRange(const uint8_t* key, const uint8_t* memory, const DigestRun* range, uint8_t* digest) {
    const uint8_t* const bytes = memory + range->address;
    const bool isErased = IsErased(bytes, bytes + range->length);
    const uint32_t head[4] = {range->address, range->length, isErased, 0};
    Hash(key, (Piece){(const uint8_t*)head, sizeof head}, (Piece){bytes, isErased ? 0 : range->length}, digest);
}

static bool Fits(const DigestExchange* exchange) {
    uint32_t left = kDigestMaxRanges;
    for (uint32_t i = 0; i < exchange->runCount; ++i) {
        if (i == kDigestMaxRuns || exchange->runs[i].count > left) {
            return false;
        }
        left -= exchange->runs[i].count;
    }
    return true;
}

void AnswerDigests(const uint8_t* memory, DigestExchange* exchange, Digest digests[kDigestMaxRanges]) {
    if (!Fits(exchange)) {
        exchange->answered = kDigestRefused;
        return;
    }
    uint32_t done = 0;
    for (DigestRun* run = exchange->runs; run < exchange->runs + exchange->runCount; ++run) {
        for (; run->count > 0; --run->count, run->address += run->length) {
            DigestRange(exchange->key, memory, run, digests[done]);
            ++done;
        }
    }
    const Piece all = {digests[0], done * (uint32_t)sizeof *digests};
    Hash(exchange->summaryKey, all, (Piece){digests[0], 0}, exchange->summary);
    exchange->answered = done;
}
