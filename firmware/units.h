// Programming a part of a sector in the controller's units, whatever its alignment.
#ifndef FIRMWARE_UNITS_H
#define FIRMWARE_UNITS_H

#include <stdbool.h>
#include <stdint.h>

#include "firmware/flash_port.h"

#ifdef __cplusplus
extern "C" {
#endif

// The part of a chunk that lies in one sector.
typedef struct {
    uint32_t address;
    uint32_t length;
    const uint8_t* data;
    // Flash was just seen to be, where the slice lies. As wide as the rest: a copy must not read bytes that nobody
    // wrote.
    uint32_t isBlank;
} Slice;

// Offset of the first byte in which flash differs from the slice, the slice's length when there is none.
uint32_t FirstDifference(const Slice* slice);

// Whether a bit that is 0 in flash is 1 in the slice.
bool SetsABit(const Slice* slice);

// How the slice can come into flash as it is, without an erase. A unit of which the slice has only ones is not written.
typedef enum {
    kFits,
    kWritesTwice,  // a unit would have to be programmed a second time and cannot; its bits would only be cleared
    kContradicts,  // the same, and a bit would have to be set
} Fit;
Fit FitOf(const Slice* slice);

FsmStatus ProgramUnits(const Slice* slice);

#ifdef __cplusplus
}
#endif
#endif
