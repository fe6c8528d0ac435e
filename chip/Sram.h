// Static RAM that remembers which of its bytes were written since power-up.
#pragma once

#include <algorithm>
#include <cstdint>
#include <span>
#include <vector>

#include "chip/PageBytes.h"
#include "chip/Random.h"

namespace flash::chip {

struct AddressRange {
    std::uint32_t address = 0;
    std::uint32_t length = 0;
    bool Touches(std::uint64_t first, std::uint64_t size) const {
        return first < std::uint64_t{address} + length && address < first + size;
    }
};

class Sram {
public:
    explicit Sram(std::uint32_t length);

    std::uint32_t Length() const { return lengthBytes; }
    // As mapped for the core: whole pages, of which only the first `Length()` bytes are SRAM.
    std::span<std::uint8_t> MappedBytes() { return bytes.Bytes(); }
    std::span<std::uint8_t> Bytes() { return bytes.Bytes().first(lengthBytes); }
    std::span<const std::uint8_t> Bytes() const { return bytes.Bytes().first(lengthBytes); }

    // Power-up: every byte is junk that nobody wrote.
    void Lose(Random& random);

    void MarkWritten(std::uint32_t offset, std::uint32_t length);
    // Whether each of these bytes was written. The core asks at each of its instructions and loads, for a word at most,
    // so here is no call.
    bool IsWritten(std::uint32_t offset, std::uint32_t length) const {
        const std::uint8_t* const first = isWritten.data() + offset;
        return std::all_of(first, first + length, [](std::uint8_t is) { return is != 0; });
    }

private:
    std::uint32_t lengthBytes;
    PageBytes bytes;
    std::vector<std::uint8_t> isWritten;  // 0 or 1 per byte; no `vector<bool>`, the core asks at each of its loads
};

}  // namespace flash::chip
