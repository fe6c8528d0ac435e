// The customer configuration area (CCFG) and the secondary addresses, as they stand in the last sector of flash.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "host/ccfg/RadioAddress.h"
#include "host/devices/DeviceDescription.h"
#include "host/devices/FlashGeometry.h"
#include "host/devices/SectorSet.h"

namespace flash::host {

// Of the sectors from here on, several share a bit of the protection words.
inline constexpr std::uint32_t kProtectableSectors = 64;

// Where the fields lie on one chip.
struct CcfgLayout {
    FlashGeometry geometry;
    std::uint32_t sizeRegister;  // its upper half is the size of CCFG in bytes
    FieldLocation ble, ieee, bootloader, debugPort, protection;
};

CcfgLayout LayoutOf(const DeviceDescription& device, const FlashGeometry& geometry);

// As read from one chip, at one time.
struct LastSector {
    std::uint32_t sizeRegister;
    std::vector<std::uint8_t> bytes;  // up to the end of flash: all of the sector, or from `StartOfFields` on
};

// From here on lie CCFG and all fields.
std::uint32_t StartOfFields(std::uint32_t sizeRegister, const CcfgLayout& layout);

struct CcfgInfo {
    std::uint32_t sizeBytes;  // 0 when the chip's own size field is not valid
    std::uint32_t address;    // its first byte, or the end of flash
    bool isBootloaderDisabled;
    bool isDebugDisabled;
    SectorSet protectedSectors;
    RadioAddress ble, ieee;
};

CcfgInfo DecodeCcfg(const LastSector& sector, const CcfgLayout& layout);

// The field's part of what was read of a last sector.
std::span<const std::uint8_t> BytesOf(const FieldLocation& field, std::span<const std::uint8_t> lastSector,
                                      const CcfgLayout& layout);

}  // namespace flash::host
