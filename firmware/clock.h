// The clock by which a command's time is measured. `target/clock.c` has it from the core's own timer.
#ifndef FIRMWARE_CLOCK_H
#define FIRMWARE_CLOCK_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

static const uint32_t kClockMask = 0x00FFFFFFu;  // the clock has 24 bits, counts up and wraps around

void ClockStart(void);
uint32_t ClockTicks(void);

#ifdef __cplusplus
}
#endif
#endif
