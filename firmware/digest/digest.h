// What flash holds, said in a few bytes: one keyed hash for each range that is asked for. A host that draws a new key
// for each question learns whether a range is what it wants it to be without reading it.
#ifndef FIRMWARE_DIGEST_DIGEST_H
#define FIRMWARE_DIGEST_DIGEST_H

#include <stddef.h>
#include <stdint.h>

#include "firmware/digest/poly1305.h"

#ifdef __cplusplus
extern "C" {
#endif

enum {
    kDigestMaxRuns = 6,
    kDigestMaxRanges = 32,  // in all runs of a request together
};

// Ranges of equal length, each behind the one before.
typedef struct {
    uint32_t address;
    uint32_t length;
    uint32_t count;
} DigestRun;

typedef uint8_t Digest[kPoly1305TagBytes];

// The host writes from `answered` on, starts the core, waits until `answered` is no longer 0, and reads up to there:
// mostly the summary is as it should be, and tells as much as all digests. `answered` is then their number, or
// kDigestRefused.
typedef struct {
    Digest summary;  // of all digests, by a key of its own: they depend on the first one
    volatile uint32_t answered;
    uint8_t key[kPoly1305KeyBytes];
    uint8_t summaryKey[kPoly1305KeyBytes];
    uint32_t runCount;
    DigestRun runs[kDigestMaxRuns];
} DigestExchange;

// The layout of the image's symbol `g_exchange`.
#ifndef __cplusplus
_Static_assert(offsetof(DigestExchange, answered) == 16, "polled by the host");
_Static_assert(offsetof(DigestExchange, key) == 20 && offsetof(DigestExchange, summaryKey) == 52,
               "written by the host");
_Static_assert(offsetof(DigestExchange, runCount) == 84 && offsetof(DigestExchange, runs) == 88, "written by the host");
_Static_assert(sizeof(DigestRun) == 12, "written by the host");
#endif

static const uint32_t kDigestRefused = 0xFFFFFFFFu;  // more runs or ranges than fit, or the core met a fault

// The digest of a range is Poly1305 over its address, its length, 1 when all of it is erased (else 0), and 0, each a
// little-endian word, and then its bytes, unless it is erased. `memory` is what lies at address 0.
void AnswerDigests(const uint8_t* memory, DigestExchange* exchange, Digest digests[kDigestMaxRanges]);

#ifdef __cplusplus
}
#endif
#endif
