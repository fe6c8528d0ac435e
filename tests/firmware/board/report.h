// Telling the workstation, by way of the emulator's calls to its host, and ending the emulation.
#ifndef TESTS_FIRMWARE_BOARD_REPORT_H
#define TESTS_FIRMWARE_BOARD_REPORT_H

#include <stdint.h>

enum { kWriteText = 0x04, kExit = 0x18 };
static const uint32_t kRegularEnd = 0x20026;

static inline void CallHost(uint32_t call, const void* argument) {
    register uint32_t r0 __asm__("r0") = call;
    register const void* r1 __asm__("r1") = argument;
    __asm__ volatile("bkpt 0xAB" : "+r"(r0) : "r"(r1) : "memory");
}

static inline void ReportNumber(const char* text, uint32_t number) {
    char line[] = " 00000000\n";
    for (uint32_t i = 0; i < 8; ++i) {
        const uint32_t digit = number >> (28 - 4 * i) & 0xF;
        line[1 + i] = (char)(digit < 10 ? '0' + digit : 'A' + digit - 10);
    }
    CallHost(kWriteText, text);
    CallHost(kWriteText, line);
    CallHost(kExit, (const void*)kRegularEnd);
}
#endif
