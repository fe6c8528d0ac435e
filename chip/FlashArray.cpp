#include "chip/FlashArray.h"

#include <algorithm>
#include <bit>

namespace flash::chip {

FlashArray::FlashArray(std::uint32_t count, std::uint32_t size)
    : sectorCount(count), sectorSize(size), bytes(std::size_t{count} * size) {
    std::ranges::fill(bytes.Bytes(), std::uint8_t{0xFF});
}

std::uint32_t FlashArray::Word(std::uint32_t address) const {
    std::uint32_t word = 0;
    for (std::uint32_t i = 0; i < 4; ++i) {
        word |= std::uint32_t{Bytes()[address + i]} << (8 * i);
    }
    return word;
}

void FlashArray::EraseSector(std::uint32_t sector) { std::ranges::fill(Sector(sector), std::uint8_t{0xFF}); }

void FlashArray::TearSectorErase(std::uint32_t sector, Random& random) {
    for (std::uint8_t& byte : Sector(sector)) {
        byte = static_cast<std::uint8_t>(byte | random.NextByte());
    }
}

bool FlashArray::ProgramWord(std::uint32_t address, std::uint32_t value) {
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
    ClearBits(address, cleared);
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

std::span<std::uint8_t> FlashArray::Sector(std::uint32_t sector) {
    return bytes.Bytes().subspan(std::size_t{sector} * sectorSize, sectorSize);
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
