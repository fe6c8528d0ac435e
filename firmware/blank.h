// Where flash is blank: where every byte reads as ones and, where units are written once, every unit can be programmed.
#ifndef FIRMWARE_BLANK_H
#define FIRMWARE_BLANK_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

// Address of the first byte of the range that is programmed, or of the unit that can be programmed no more although it
// reads as ones; `end` when there is none. A unit that lies in the range in part is judged by its bytes there.
uint32_t FirstProgrammed(uint32_t address, uint32_t end);

#ifdef __cplusplus
}
#endif
#endif
