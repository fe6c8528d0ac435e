// A model of a flash controller, as checks of its port ask for one. It stands behind firmware/registers.h on the
// workstation, and behind firmware/clock.h for the time that passes; built as a shared library it is the controller of
// a virtual chip (scripts/check-flashloader IMAGE --port-model LIBRARY), where the chip's core reaches the same
// registers.
#ifndef FIRMWARE_CHECK_MODEL_H
#define FIRMWARE_CHECK_MODEL_H

#include <stdbool.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

// What comes over an operation. When power is lost, `ModelPowerIsLost` is called and never returns.
typedef enum {
    kOperationFails,      // reports an error, and leaves a part of it
    kOperationNeverEnds,  // busy for good, until the next power-up
    kPowerLostBefore,
    kPowerLostInside,  // leaves a part of it
    kPowerLostAfter,
    kOperationDoesNothing,  // a lie: reports success, and has changed nothing
    kOperationFlipsABit,    // a lie: reports success, and one bit of it is the other way round
} Mishap;

// A new chip with erased flash, in the state in which an application leaves it: locked, with errors and a stale cache.
void ModelBegin(void);
// As after a loss of power or a reset: flash stays.
void ModelPowerUp(void);
void ModelArm(uint32_t operation, Mishap mishap);  // the n-th from now on, counted from 1
void ModelProtectSector(uint32_t address);         // its last page

// Small, as each check compares all of it: six sectors or more, so that a few pages of it make a flash.
uint32_t ModelFlashBytes(void);
uint32_t ModelSectorBytes(void);  // the plug-in's: 4096 or 8192
const uint8_t* ModelFlash(void);

void ModelPlace(uint32_t address, const uint8_t* bytes, uint32_t length);  // as an older program has left it
uint32_t ModelOperations(void);                                            // that were started
uint32_t ModelRulesBroken(void);  // what silicon would not forgive: locked, busy, unaligned, written twice
uint32_t ModelWatchdogBites(void);

// Time is the model's own: each access to a register takes some, and `ModelPass` is the time in which the core does
// something else. The core's timer has so many ticks; it is what `ClockTicks` counts and a port's traits must tell.
uint64_t ModelNanoseconds(void);
void ModelPass(uint64_t nanoseconds);
uint32_t ModelTicksPerMillisecond(void);

// The pages of 4 KiB that its registers lie in, with a 0 behind the last. Not the core's own page, 0xE000E000.
const uint32_t* ModelRegisterPages(void);

// Defined by who runs the model.
void ModelPowerIsLost(void);

#ifdef __cplusplus
}
#endif
#endif
