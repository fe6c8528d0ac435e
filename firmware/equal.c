#include "firmware/equal.h"

#include "firmware/load_word.h"

static uint32_t DifferenceOfTwoWords(const uint8_t* a, const uint8_t* b) {
    return (LoadWord(a) ^ LoadWord(b)) | (LoadWord(a + 4) ^ LoadWord(b + 4));
}

static uint32_t DifferenceOfFourWords(const uint8_t* a, const uint8_t* b) {
    return DifferenceOfTwoWords(a, b) | DifferenceOfTwoWords(a + 8, b + 8);
}

// In big steps, then byte by byte.
uint32_t EqualBytes(const uint8_t* a, const uint8_t* b, uint32_t length) {
    const uint8_t* const begin = a;
    const uint8_t* const end = a + length;
    while (end - a >= 32 && (DifferenceOfFourWords(a, b) | DifferenceOfFourWords(a + 16, b + 16)) == 0) {
        a += 32;
        b += 32;
    }
    while (a != end && *a == *b) {
        ++a;
        ++b;
    }
    return (uint32_t)(a - begin);
}
