// The bytes of flash and what physics does to them: erasing sets a sector's bits, programming clears bits, and an
// operation that is torn leaves a mix behind. No rules, no time: those are the controller's.
#pragma once

#include <cstdint>
#include <map>
#include <span>
#include <vector>

#include "chip/PageBytes.h"
#include "chip/Random.h"

namespace flash::chip {

class FlashArray {
public:
    FlashArray(std::uint32_t sectorCount, std::uint32_t sectorSize);

    std::uint32_t SectorCount() const { return sectorCount; }
    std::uint32_t SectorSize() const { return sectorSize; }
    std::uint32_t Length() const { return sectorCount * sectorSize; }
    std::uint32_t SectorAt(std::uint32_t address) const { return address / sectorSize; }
    std::span<std::uint8_t> Bytes() { return bytes.Bytes(); }
    std::span<const std::uint8_t> Bytes() const { return bytes.Bytes(); }
    std::uint32_t Word(std::uint32_t address) const;  // any alignment, least significant byte first

    void Erase(std::uint32_t address, std::uint32_t length);
    void TearErase(std::uint32_t address, std::uint32_t length, Random& random);

    // Clears the bits that are 0 in `value`. False when the word then holds something else.
    bool ProgramWord(std::uint32_t address, std::uint32_t value);
    // Clears some of the bits that are to be cleared, any of them, and where there are two or more, not all.
    void TearWordProgram(std::uint32_t address, std::uint32_t value, Random& random);

    // Words that were programmed since they were erased, whatever they read as.
    const std::vector<bool>& Programmed() const { return programmed; }
    void MarkProgrammed(const std::vector<bool>& words);
    void MarkWhatIsNotOnes(std::uint32_t address, std::size_t length);  // and nothing else there

    // From now on programming leaves this bit (0 to 7) of the byte at `address` as it is.
    void WeakenBit(std::uint32_t address, unsigned bit);
    // From now on programming its word leaves this bit the other way round, and nobody is told.
    void FlipBit(std::uint32_t address, unsigned bit);
    void HealBits();  // ends both

private:
    void ClearBits(std::uint32_t address, std::uint32_t bits);
    void FlipBits(std::uint32_t address, std::uint32_t value);

    std::uint32_t sectorCount;
    std::uint32_t sectorSize;
    PageBytes bytes;
    std::vector<bool> programmed;
    // Masks by address of the byte.
    std::map<std::uint32_t, std::uint8_t> weakBits;
    std::map<std::uint32_t, std::uint8_t> flippingBits;
};

}  // namespace flash::chip
