// The clock from the core's own timer (SysTick), which Cortex-M cores have in common. It asks for no interrupt.
#include "firmware/clock.h"

static volatile uint32_t* const kControl = (volatile uint32_t*)0xE000E010u;
static volatile uint32_t* const kReload = (volatile uint32_t*)0xE000E014u;
static volatile uint32_t* const kCurrent = (volatile uint32_t*)0xE000E018u;  // counts down; a write clears it

enum { kCountsCoreCycles = 0x5 };  // enabled, from the core's clock

void ClockStart(void) {
    *kReload = kClockMask;
    *kCurrent = 0;
    *kControl = kCountsCoreCycles;
}

uint32_t ClockTicks(void) { return kClockMask - *kCurrent; }
