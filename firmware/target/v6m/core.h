// What start-up undoes on an ARMv6-M core (Cortex-M0+) and on no other: nothing.
#define UNDO_FAULT_MASKS
