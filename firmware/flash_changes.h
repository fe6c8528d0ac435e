// Flash is memory that changes behind the compiler's back: it sees the port's accesses to registers, and not what they
// do.
#ifndef FIRMWARE_FLASH_CHANGES_H
#define FIRMWARE_FLASH_CHANGES_H

#include <stdatomic.h>

// Before and after each operation of the port: what was read of flash on one side does not stand for the other.
__attribute__((always_inline)) static inline void FlashChanges(void) { atomic_signal_fence(memory_order_seq_cst); }

#endif
