// Programming a part of a sector so that a loss of power on the way does not lock the chip.
#ifndef FIRMWARE_LOCKS_H
#define FIRMWARE_LOCKS_H

#include "firmware/units.h"

#ifdef __cplusplus
extern "C" {
#endif

// What locks the chip from the next power-up on comes last, whatever its address, in the order of the port's table:
// when power is lost on the way the work can be done again.
FsmStatus ProgramLocksLast(const Slice* slice);

#ifdef __cplusplus
}
#endif
#endif
