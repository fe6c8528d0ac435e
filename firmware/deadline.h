// The time that a command may take: less than the 2000 ms after which the host gives up, so that it gets a status and
// not a time-out.
#ifndef FIRMWARE_DEADLINE_H
#define FIRMWARE_DEADLINE_H

#include <stdbool.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

enum { kCommandMilliseconds = 1800 };

void DeadlineStart(void);

// Whether the time of the command in work is up. Lets the port feed its watchdog, too. Waits ask at least as often as
// the clock wraps around: every 80 ms at 200 MHz.
bool DeadlineHasPassed(void);

#ifdef __cplusplus
}
#endif
#endif
