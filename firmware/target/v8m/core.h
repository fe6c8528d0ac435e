// What start-up undoes on an ARMv8-M core with the main extension (Cortex-M33) besides: the masks of ARMv7-M, and the
// limits of the stack.
#define UNDO_FAULT_MASKS       \
    "cpsie f               \n" \
    "msr   basepri, r0     \n" \
    "msr   msplim, r0      \n" \
    "msr   psplim, r0      \n"
