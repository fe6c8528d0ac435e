// Reading a little-endian word at any address, as the data of a chunk lies in its buffer.
#ifndef FIRMWARE_LOAD_WORD_H
#define FIRMWARE_LOAD_WORD_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#if __BYTE_ORDER__ != __ORDER_LITTLE_ENDIAN__
#error "words are loaded as they lie in memory"
#endif

static inline uint32_t LoadWord(const uint8_t* bytes) {
    uint32_t word;
    __builtin_memcpy(&word, bytes, sizeof word);
    return word;
}

#ifdef __cplusplus
}
#endif
#endif
