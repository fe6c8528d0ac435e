// What start-up undoes on an ARMv7-M core (Cortex-M3, M4) besides: the masks that turn a fault into a lock-up or hide
// an exception.
#define UNDO_FAULT_MASKS       \
    "cpsie f               \n" \
    "msr   basepri, r0     \n"
