// The controller's registers. ADAPT: here of one with double words that are written once, pages of 2 KiB, a lock that
// is opened by two keys, errors that stay until they are cleared, and a watchdog of 100 ms. A value from 0x80000000 on
// is no enumerator of C's: it is a `static const uint32_t`, as the keys are.
#ifndef FIRMWARE_PORT_TEMPLATE_REGISTERS_H
#define FIRMWARE_PORT_TEMPLATE_REGISTERS_H

#include <stdint.h>

enum {
    kRegisterKey = 0x40022000,       // W   the two keys, one after the other
    kRegisterControl = 0x40022004,   // W   bit 0 programs the double word, bit 1 erases the page; refused while locked
    kRegisterStatus = 0x40022008,    // R   `kStatusBusyBit` and errors; a 1 written to an error clears it
    kRegisterAddress = 0x4002200C,   // W
    kRegisterDataLow = 0x40022010,   // W
    kRegisterDataHigh = 0x40022014,  // W
    kRegisterProtection = 0x40022018,  // R   bit n set: page n is protected
    kRegisterCache = 0x4002201C,       // W   0 switches the cache off
    kRegisterFeed = 0x40023000,        // W   `kFood` feeds the watchdog
};
enum { kControlProgram = 1, kControlErasePage = 2 };
enum { kStatusBusyBit = 1, kStatusProtectedBit = 2, kStatusNotBlankBit = 4, kStatusOtherErrorBit = 8 };
enum { kStatusErrors = kStatusProtectedBit | kStatusNotBlankBit | kStatusOtherErrorBit };
enum { kPageBytes = 2048, kPageCount = 16 };
static const uint32_t kFirstKey = 0x45670123u;
static const uint32_t kSecondKey = 0xCDEF89ABu;
static const uint32_t kFood = 0x0000AAAAu;

#endif
