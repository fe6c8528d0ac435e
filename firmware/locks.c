// The locks that a slice closes are left out first and follow one by one: a single bit alone, because one bit cannot be
// torn. Where units are written once, they are what is left out, and a unit goes with the last of its locks.
#include "firmware/locks.h"

// What lies from `begin` to before `end` and holds a lock.
typedef struct {
    uint32_t begin;
    uint32_t end;
    uint8_t bits;  // 0 when the slice does not close the lock
} HeldBack;

static HeldBack HoldBack(const Slice* slice, const FlashLock* lock) {
    const FlashTraits* traits = FlashPortTraits();
    const uint32_t size = traits->isRewritable ? 1 : traits->unitBytes;
    const uint32_t begin = lock->address & ~(size - 1);
    const uint32_t offset = lock->address - slice->address;  // huge below the slice's start
    const bool closes = offset < slice->length && (slice->data[offset] & lock->bits) == 0;
    return (HeldBack){begin, begin + size, closes ? lock->bits : 0};
}

// The slice's bytes of a range, those bits of its first byte left as they are.
static FsmStatus ProgramRange(const Slice* slice, uint32_t begin, uint32_t end, uint8_t leftOut) {
    const uint32_t sliceEnd = slice->address + slice->length;
    begin = begin > slice->address ? begin : slice->address;
    end = end < sliceEnd ? end : sliceEnd;
    if (begin >= end) {
        return kFsmSuccess;
    }
    const uint8_t* data = slice->data + (begin - slice->address);
    const uint8_t byte = *data | (leftOut & FlashPortBytes()[begin]);
    const Slice part = {begin, end - begin, leftOut == 0 ? data : &byte, slice->isBlank};
    return ProgramUnits(&part);
}

// The first of what is held back that ends behind `address`; an empty one at `end` when there is none.
static HeldBack NextHeldBack(const HeldBack* heldBack, uint32_t address, uint32_t end) {
    HeldBack next = {end, end, 0};
    for (uint32_t i = 0; i < FlashPortTraits()->lockCount; ++i) {
        if (heldBack[i].bits != 0 && heldBack[i].end > address && heldBack[i].begin < next.begin) {
            next = heldBack[i];
        }
    }
    return next;
}

static FsmStatus ProgramTheRest(const Slice* slice, const HeldBack* heldBack) {
    const uint32_t end = slice->address + slice->length;
    uint32_t address = slice->address;
    FsmStatus fsmStatus = kFsmSuccess;
    while (address < end && fsmStatus == kFsmSuccess) {
        const HeldBack next = NextHeldBack(heldBack, address, end);
        fsmStatus = ProgramRange(slice, address, next.begin, 0);
        address = next.end;
    }
    return fsmStatus;
}

// The bits of the later locks that lie in the same place.
static uint8_t LaterBits(const HeldBack* heldBack, uint32_t lock) {
    uint8_t bits = 0;
    for (uint32_t i = lock + 1; i < FlashPortTraits()->lockCount; ++i) {
        bits |= heldBack[i].begin == heldBack[lock].begin ? heldBack[i].bits : 0;
    }
    return bits;
}

static FsmStatus CloseLock(const Slice* slice, const HeldBack* heldBack, uint32_t lock) {
    const HeldBack* place = &heldBack[lock];
    const uint8_t later = LaterBits(heldBack, lock);
    if (!FlashPortTraits()->isRewritable) {
        return later == 0 ? ProgramRange(slice, place->begin, place->end, 0) : (FsmStatus)kFsmSuccess;
    }
    const FsmStatus fsmStatus = ProgramRange(slice, place->begin, place->end, place->bits | later);
    return fsmStatus == kFsmSuccess ? ProgramRange(slice, place->begin, place->end, later) : fsmStatus;
}

FsmStatus ProgramLocksLast(const Slice* slice) {
    const FlashTraits* traits = FlashPortTraits();
    HeldBack heldBack[kMostLocks];
    for (uint32_t i = 0; i < traits->lockCount; ++i) {
        heldBack[i] = HoldBack(slice, &traits->locks[i]);
    }
    FsmStatus fsmStatus = ProgramTheRest(slice, heldBack);
    for (uint32_t i = 0; i < traits->lockCount && fsmStatus == kFsmSuccess; ++i) {
        fsmStatus = heldBack[i].bits != 0 ? CloseLock(slice, heldBack, i) : (FsmStatus)kFsmSuccess;
    }
    return fsmStatus;
}
