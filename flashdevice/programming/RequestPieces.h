// Cutting a write request: the part that a range of permitted sectors lets through, and the pieces that are compared
// with the fill value. Unsigned 32-bit arithmetic throughout.
#pragma once

#include <cstdint>

#include "flashdevice/programming/PageList.h"

namespace flash {

// A part of a request: `length` bytes from `offset`. It may name one byte beyond the request's end.
struct RequestPart {
    bool meets = false;    // false: the range does not meet the request
    bool isWhole = false;  // the range holds the whole request
    std::uint32_t offset = 0;
    std::uint32_t length = 0;
    bool operator==(const RequestPart&) const = default;
};

RequestPart PartInRange(std::uint32_t address, std::uint32_t length, const AddressRange& range);

// Bytes of the next piece of a request of which `remaining` bytes, at least one, are left at `address`.
std::uint32_t FillPieceLength(std::uint32_t address, std::uint32_t remaining, std::uint32_t sectorSize);

}  // namespace flash
