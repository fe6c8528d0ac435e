// What the checks of a port ask of a model of its controller. The model also stands behind firmware/registers.h, and
// behind firmware/clock.h for the time that passes.
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
} Mishap;

// A new chip with erased flash, in the state in which an application leaves it: locked, with errors and a stale cache.
void ModelBegin(void);
// As after a loss of power: flash stays.
void ModelPowerUp(void);
void ModelArm(uint32_t operation, Mishap mishap);  // the n-th from now on, counted from 1
void ModelProtectSector(uint32_t address);         // its last page

// Small, as each check compares all of it: four sectors or more, so that a few pages of it make a flash.
uint32_t ModelFlashBytes(void);
uint32_t ModelSectorBytes(void);  // the plug-in's: 4096 or 8192
const uint8_t* ModelFlash(void);

void ModelPlace(uint32_t address, const uint8_t* bytes, uint32_t length);  // as an older program has left it
uint32_t ModelOperations(void);                                            // that were started
uint32_t ModelRulesBroken(void);  // what silicon would not forgive: locked, busy, unaligned, written twice
uint32_t ModelWatchdogBites(void);
uint64_t ModelNanoseconds(void);
void ModelPass(uint64_t nanoseconds);  // time in which the core does something else

// Defined by who runs the model.
void ModelPowerIsLost(void);

#ifdef __cplusplus
}
#endif
#endif
