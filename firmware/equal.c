#include "firmware/equal.h"

#include <stdbool.h>

#include "firmware/load_word.h"

static bool AreFourWordsEqual(const uint8_t* a, const uint8_t* b) {
    return LoadWord(a) == LoadWord(b) && LoadWord(a + 4) == LoadWord(b + 4) && LoadWord(a + 8) == LoadWord(b + 8) &&
           LoadWord(a + 12) == LoadWord(b + 12);
}

// In big steps, then byte by byte.
uint32_t EqualBytes(const uint8_t* a, const uint8_t* b, uint32_t length) {
    uint32_t i = 0;
    while (length - i >= 32 && AreFourWordsEqual(a + i, b + i) && AreFourWordsEqual(a + i + 16, b + i + 16)) {
        i += 32;
    }
    while (i < length && a[i] == b[i]) {
        ++i;
    }
    return i;
}
