// How the flash of a chip is divided.
#pragma once

#include <cstdint>

namespace flash::host {

inline constexpr std::uint8_t kErasedByte = 0xFF;  // of flash

struct FlashGeometry {
    std::uint32_t sectorSizeBytes;
    std::uint32_t sectorCount;

    std::uint32_t SizeBytes() const { return sectorSizeBytes * sectorCount; }
    std::uint32_t LastSectorAddress() const { return SizeBytes() - sectorSizeBytes; }
    bool operator==(const FlashGeometry&) const = default;
};

}  // namespace flash::host
