// Adding up what the clock has moved since the last look, because it wraps around many times within one command.
#include "firmware/deadline.h"

#include "firmware/clock.h"
#include "firmware/flash_port.h"

static uint32_t lastLook;
static uint32_t ticksLeft;

void DeadlineStart(void) {
    lastLook = ClockTicks();
    ticksLeft = kCommandMilliseconds * FlashPortTraits()->ticksPerMillisecond;
}

bool DeadlineHasPassed(void) {
    FlashPortIdle();
    const uint32_t now = ClockTicks();
    const uint32_t ticks = (now - lastLook) & kClockMask;
    lastLook = now;
    ticksLeft = ticks < ticksLeft ? ticksLeft - ticks : 0;
    return ticksLeft == 0;
}
