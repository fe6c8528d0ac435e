// A small flash of four sectors of 256 bytes, and what its last sector may hold.
#pragma once

#include <algorithm>

#include "host/ccfg/Ccfg.h"

namespace flash::host {

inline constexpr FlashGeometry kTinyFlash{0x100, 4};
inline constexpr CcfgLayout kTinyLayout{kTinyFlash, 0x5000'0010, {0x3C8, 6}, {0x3C0, 8},
                                        {0x3D3, 1}, {0x3D7, 1},  {0x3E0, 8}};
inline constexpr std::uint32_t kCcfgBytes = 0x58;

// Every byte differs from its neighbours, so that a misplaced one shows.
inline std::vector<std::uint8_t> CountedBytes() {
    std::vector<std::uint8_t> bytes(kTinyFlash.sectorSizeBytes);
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        bytes[i] = static_cast<std::uint8_t>(i);
    }
    return bytes;
}

inline LastSector Counted(std::uint32_t ccfgBytes = kCcfgBytes) { return {ccfgBytes << 16 | 0x1234, CountedBytes()}; }

inline LastSector Erased() { return {0xFFFF'FFFF, std::vector<std::uint8_t>(kTinyFlash.sectorSizeBytes, 0xFF)}; }

inline void Put(LastSector& sector, const FieldLocation& field, std::vector<std::uint8_t> bytes) {
    std::copy(bytes.begin(), bytes.end(), sector.bytes.begin() + (field.address - kTinyFlash.LastSectorAddress()));
}

}  // namespace flash::host
