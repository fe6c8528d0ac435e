#include "chip/FlashArray.h"

#include <algorithm>
#include <bit>

namespace flash::chip {

FlashArray::FlashArray(std::uint32_t count, std::uint32_t size)
    : sectorCount(count), sectorSize(size), bytes(std::size_t{count} * size), programmed(Length() / 4) {
    std::ranges::fill(bytes.Bytes(), std::uint8_t{0xFF});
}

std::uint32_t FlashArray::Word(std::uint32_t address) const {
    std::uint32_t word = 0;
    for (std::uint32_t i = 0; i < 4; ++i) {
        word |= std::uint32_t{Bytes()[address + i]} << (8 * i);
    }
    return word;
}

void FlashArray::Erase(std::uint32_t address, std::uint32_t length) {
    std::ranges::fill(bytes.Bytes().subspan(address, length), std::uint8_t{0xFF});
    std::fill_n(programmed.begin() + address / 4, length / 4, false);
}

// What is half erased takes nothing new: it counts as programmed.
void FlashArray::TearErase(std::uint32_t address, std::uint32_t length, Random& random) {
    std::fill_n(programmed.begin() + address / 4, length / 4, true);
    for (std::uint8_t& byte : bytes.Bytes().subspan(address, length)) {
        byte = static_cast<std::uint8_t>(byte | random.NextByte());
    }
}

bool FlashArray::ProgramWord(std::uint32_t address, std::uint32_t value) {
    programmed[address / 4] = true;
    ClearBits(address, ~value);
    const bool isAsAsked = Word(address) == value;
    FlipBits(address, value);
    return isAsAsked;
}

void FlashArray::TearWordProgram(std::uint32_t address, std::uint32_t value, Random& random) {
    const std::uint32_t toClear = Word(address) & ~value;
    std::uint32_t cleared = 0;
    do {
        cleared = toClear & static_cast<std::uint32_t>(random.Next() >> 32);
    } while (std::popcount(toClear) >= 2 && (cleared == 0 || cleared == toClear));
    programmed[address / 4] = true;
    ClearBits(address, cleared);
}

void FlashArray::MarkProgrammed(const std::vector<bool>& words) {
    std::copy(words.begin(), words.end(), programmed.begin());
}

void FlashArray::MarkWhatIsNotOnes(std::uint32_t address, std::size_t length) {
    for (std::size_t word = address / 4; word < (address + length + 3) / 4; ++word) {
        programmed[word] = Word(static_cast<std::uint32_t>(4 * word)) != 0xFFFF'FFFF;
    }
}

void FlashArray::WeakenBit(std::uint32_t address, unsigned bit) {
    std::uint8_t& mask = weakBits[address];
    mask = static_cast<std::uint8_t>(mask | (1U << bit));
}

void FlashArray::FlipBit(std::uint32_t address, unsigned bit) {
    std::uint8_t& mask = flippingBits[address];
    mask = static_cast<std::uint8_t>(mask | (1U << bit));
}

void FlashArray::HealBits() {
    weakBits.clear();
    flippingBits.clear();
}

void FlashArray::ClearBits(std::uint32_t address, std::uint32_t bits) {
    for (std::uint32_t i = 0; i < 4; ++i) {
        const auto weak = weakBits.find(address + i);
        const std::uint32_t stays = weak == weakBits.end() ? 0U : weak->second;
        std::uint8_t& byte = bytes.Bytes()[address + i];
        byte = static_cast<std::uint8_t>(byte & ~((bits >> (8 * i)) & 0xFF & ~stays));
    }
}

void FlashArray::FlipBits(std::uint32_t address, std::uint32_t value) {
    for (std::uint32_t i = 0; i < 4; ++i) {
        const auto flipping = flippingBits.find(address + i);
        const std::uint32_t mask = flipping == flippingBits.end() ? 0U : flipping->second;
        std::uint8_t& byte = bytes.Bytes()[address + i];
        byte = static_cast<std::uint8_t>((byte & ~mask) | (~(value >> (8 * i)) & mask));
    }
}

}  // namespace flash::chip
