// Comparing memory. After each chunk flash is compared with the buffer while the controller has nothing to do.
#ifndef FIRMWARE_EQUAL_H
#define FIRMWARE_EQUAL_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

// How many of the first bytes are the same.
uint32_t EqualBytes(const uint8_t* a, const uint8_t* b, uint32_t length);

#ifdef __cplusplus
}
#endif
#endif
