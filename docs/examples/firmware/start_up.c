// Vector table and reset: copies initialised data, clears the rest, calls main.
#include <stdint.h>

extern uint32_t g_stack_top, g_data_load, g_data_begin, g_data_end, g_bss_begin, g_bss_end;
int main(void);
void Reset(void);

static void Stop(void) {
    for (;;) {
    }
}

__attribute__((section(".vectors"), used)) static void (*const kVectors[])(void) = {
    (void (*)(void))(uintptr_t)&g_stack_top, Reset, Stop, Stop, Stop, Stop, Stop};

void Reset(void) {
    const uint32_t* from = &g_data_load;
    for (uint32_t* to = &g_data_begin; to != &g_data_end; ++to) {
        *to = *from++;
    }
    for (uint32_t* to = &g_bss_begin; to != &g_bss_end; ++to) {
        *to = 0;
    }
    main();
    Stop();
}
