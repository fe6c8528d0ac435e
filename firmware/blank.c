#include "firmware/blank.h"

#include "firmware/flash_port.h"
#include "firmware/load_word.h"

static const uint8_t kErasedByte = 0xFF;
static const uint32_t kErasedWord = 0xFFFFFFFFu;

static uint32_t CommonBitsOfFourWords(const uint8_t* bytes) {
    return LoadWord(bytes) & LoadWord(bytes + 4) & LoadWord(bytes + 8) & LoadWord(bytes + 12);
}

static bool AreEightWordsErased(const uint8_t* bytes) {
    return (CommonBitsOfFourWords(bytes) & CommonBitsOfFourWords(bytes + 16)) == kErasedWord;
}

// It looks at most of a sector before each chunk, so it takes big steps.
static uint32_t FirstProgrammedByte(uint32_t address, uint32_t end) {
    const uint8_t* flash = FlashPortBytes();
    while (end - address >= 32 && AreEightWordsErased(flash + address)) {
        address += 32;
    }
    while (address < end && flash[address] == kErasedByte) {
        ++address;
    }
    return address;
}

// Of the units that lie whole in the range.
static uint32_t FirstUsedUnit(uint32_t address, uint32_t end) {
    const uint32_t unitBytes = FlashPortTraits()->unitBytes;
    uint32_t unit = (address + unitBytes - 1) & ~(unitBytes - 1);
    while (unit + unitBytes <= end && FlashPortIsBlank(unit)) {
        unit += unitBytes;
    }
    return unit + unitBytes <= end ? unit : end;
}

uint32_t FirstProgrammed(uint32_t address, uint32_t end) {
    const uint32_t programmed = FirstProgrammedByte(address, end);
    return FlashPortTraits()->isRewritable ? programmed : FirstUsedUnit(address, programmed);
}
