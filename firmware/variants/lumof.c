// LumoF's share of memory: sectors of 8 KiB.
#include "firmware/commands.h"

enum { kSectorBytes = 8192 };

// Neither loaded nor cleared: the host may fill the first buffer before start-up is through.
__attribute__((section(".noinit"), aligned(8))) uint8_t g_buf1[kSectorBytes];
__attribute__((section(".noinit"), aligned(8))) uint8_t g_buf2[kSectorBytes];
__attribute__((section(".noinit"), aligned(8))) static uint8_t scratch[kSectorBytes];
extern uint32_t g_stackGuard[];  // from the linker script

extern const Workspace g_workspace;
const Workspace g_workspace = {
    .sectorBytes = kSectorBytes, .buffers = {g_buf1, g_buf2}, .scratch = scratch, .stackGuard = g_stackGuard};
