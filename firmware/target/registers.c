// The registers of the target, and flash where the image was told that it is read.
#include "firmware/registers.h"

extern const uint8_t g_flash[];  // `FLASH` of flash_add_flashloader

uint32_t ReadRegister(uint32_t address) { return *(volatile const uint32_t*)address; }
void WriteRegister(uint32_t address, uint32_t value) { *(volatile uint32_t*)address = value; }
const uint8_t* FlashMemory(void) { return g_flash; }
