// What the compiler calls by name where the core has no instruction for it, or where a copy is shorter as a call. From
// no library, so that the stack that it takes is counted like all else; what an image does not need is left out of it.
#include <stddef.h>
#include <stdint.h>

void* memcpy(void* to, const void* from, size_t length);
void* memset(void* to, int value, size_t length);
uint32_t __aeabi_uidiv(uint32_t dividend, uint32_t divisor);
uint64_t __aeabi_uidivmod(uint32_t dividend, uint32_t divisor);

void* memcpy(void* to, const void* from, size_t length) {
    uint8_t* target = to;
    for (const uint8_t* byte = from; length > 0; --length) {
        *target++ = *byte++;
    }
    return to;
}

void* memset(void* to, int value, size_t length) {
    for (uint8_t* byte = to; length > 0; --length) {
        *byte++ = (uint8_t)value;
    }
    return to;
}

// The remainder in the upper word, the quotient in the lower one: the registers in which the compiler looks for them.
// By 0 the quotient is all ones.
uint64_t __aeabi_uidivmod(uint32_t dividend, uint32_t divisor) {
    uint32_t quotient = 0;
    uint32_t remainder = 0;
    for (uint32_t bit = 0x80000000u; bit != 0; bit >>= 1) {
        const uint32_t isCarried = remainder >> 31;
        remainder = remainder << 1 | ((dividend & bit) != 0 ? 1u : 0u);
        if (isCarried != 0 || remainder >= divisor) {
            remainder -= divisor;
            quotient |= bit;
        }
    }
    return (uint64_t)remainder << 32 | quotient;
}

uint32_t __aeabi_uidiv(uint32_t dividend, uint32_t divisor) { return (uint32_t)__aeabi_uidivmod(dividend, divisor); }
