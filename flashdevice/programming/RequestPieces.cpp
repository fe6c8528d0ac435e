#include "flashdevice/programming/RequestPieces.h"

#include <algorithm>

namespace flash {

RequestPart PartInRange(std::uint32_t address, std::uint32_t length, const AddressRange& range) {
    const std::uint32_t end = address + length;
    const std::uint32_t lastByte = end - 1;
    const auto [first, last] = range;
    if (first <= address && last >= lastByte) {
        return {true, true, 0, length};
    }
    if (first < address && address < last) {      // and ends before the request does
        return {true, false, 0, last - address};  // leaves out the byte at `last`, on purpose
    }
    if (first >= address && first <= end && last >= address && last <= end) {
        return {true, false, first - address, last - first + 1};
    }
    if (first > address && first < lastByte && last > lastByte) {
        return {true, false, first - address, end - first};
    }
    return {};
}

std::uint32_t FillPieceLength(std::uint32_t address, std::uint32_t remaining, std::uint32_t sectorSize) {
    const std::uint32_t remainder = address % sectorSize;
    // The remainder itself and not the way to the next sector, on purpose: the first pieces of an unaligned request
    // grow.
    return std::min(remainder != 0 ? remainder : sectorSize, remaining);
}

}  // namespace flash
