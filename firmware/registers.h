// Registers and flash as a port reaches them when it is to run on the workstation, too: there a model of the controller
// stands behind these functions (firmware/check/model.h). On the target they are plain accesses to memory.
#ifndef FIRMWARE_REGISTERS_H
#define FIRMWARE_REGISTERS_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

uint32_t ReadRegister(uint32_t address);
void WriteRegister(uint32_t address, uint32_t value);

// The byte at flash address 0, and all others behind it.
const uint8_t* FlashMemory(void);

#ifdef __cplusplus
}
#endif
#endif
