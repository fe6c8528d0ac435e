#include "chip/Sram.h"

#include <algorithm>
#include <cstring>

namespace flash::chip {
namespace {

constexpr std::uint32_t kPageBytes = 4096;

std::uint32_t RoundUpToPages(std::uint32_t length) { return (length + kPageBytes - 1) / kPageBytes * kPageBytes; }

}  // namespace

Sram::Sram(std::uint32_t length) : lengthBytes(length), bytes(RoundUpToPages(length)), isWritten(length) {
    std::ranges::fill(bytes.Bytes(), std::uint8_t{0});
}

void Sram::Lose(Random& random) {
    std::ranges::generate(Bytes(), [&random] { return random.NextByte(); });
    isWritten.assign(lengthBytes, 0);
}

void Sram::MarkWritten(std::uint32_t offset, std::uint32_t length) {
    std::memset(isWritten.data() + offset, 1, length);
}

}  // namespace flash::chip
