// Pairs of contents for one sector that a weak hash takes for equal.
#pragma once

#include <cstdint>
#include <random>
#include <string>
#include <vector>

namespace flash::host {

using Bytes = std::vector<std::uint8_t>;

struct Pair {
    std::string kind;
    Bytes present;  // in flash
    Bytes wanted;
};

// CRC of reflected polynomial, with all bits set at the start and inverted at the end.
std::uint32_t ReflectedCrc32(const Bytes& bytes, std::uint32_t polynomial);

Pair DrawPair(std::mt19937& random, std::size_t lengthBytes);

}  // namespace flash::host
