// The two generations of chips as the tests know them, and where the fields of CCFG lie on both.
#pragma once

#include <cstdint>
#include <string>

#include "validator/simulation/ChipMemory.h"

namespace flash::test {

struct FlashGeometry {
    std::uint32_t sectorSize;
    std::uint32_t sectorCount;
    std::uint32_t Size() const { return sectorSize * sectorCount; }
    std::uint32_t LastSector() const { return sectorSize * (sectorCount - 1); }
};

// One generation, and a usual chip of it.
struct ChipModel {
    const char* deviceName;   // its sixth character selects the generation
    FlashGeometry reference;  // the flash that the field locations are written for
    const char* ramSizeText;  // of size code 3, as published
};

extern const ChipModel kLumoD;
extern const ChipModel kLumoF;

// Plain enough for the name of a test: "LumoD" or "LumoF".
std::string GenerationName(const ChipModel& model);

// Such a chip for a simulated host.
simulation::ChipModel Simulated(const ChipModel& model, std::uint32_t sectorCount);

// Offsets of CCFG's fields from the end of flash, the same for both generations.
inline constexpr std::uint32_t kCcfgSize = 88;
inline constexpr std::uint32_t kCcfgSizeWordFromEnd = 0x50;
inline constexpr std::uint32_t kIeeeSecondaryFromEnd = 0x40;
inline constexpr std::uint32_t kBleSecondaryFromEnd = 0x38;
inline constexpr std::uint32_t kDisableBootloaderFromEnd = 0x2D;
inline constexpr std::uint32_t kDisableCpuDapFromEnd = 0x29;
inline constexpr std::uint32_t kProtectionFromEnd = 0x20;

}  // namespace flash::test
