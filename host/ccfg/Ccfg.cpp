// Finding the fields and reading them.
#include "host/ccfg/Ccfg.h"

#include <algorithm>

namespace flash::host {
namespace {

constexpr std::uint32_t kBitsPerWord = 32;
constexpr std::uint32_t kSizeShift = 16;

SectorSet ProtectedSectors(std::span<const std::uint8_t> words, std::uint32_t sectorCount) {
    SectorSet sectors(sectorCount);
    for (std::uint32_t sector = 0; sector < sectorCount; ++sector) {
        // The second word stands for all sectors from 32 on.
        const std::uint32_t bit = sector < kBitsPerWord ? sector : kBitsPerWord + sector % kBitsPerWord;
        if ((words[bit / 8] >> bit % 8 & 1) == 0) {
            sectors.Add(sector);
        }
    }
    return sectors;
}

// 0 when it cannot be true.
std::uint32_t SizeOf(std::uint32_t sizeRegister, const CcfgLayout& layout) {
    const std::uint32_t found = sizeRegister >> kSizeShift;
    return found <= layout.geometry.sectorSizeBytes ? found : 0;
}

}  // namespace

CcfgLayout LayoutOf(const DeviceDescription& device, const FlashGeometry& geometry) {
    const auto field = [&](const char* key) { return device.Location(key, geometry.SizeBytes()); };
    return {geometry,
            device.ccfgSizeRegister,
            field("DeviceBleSecondary"),
            field("DeviceIeeeSecondary"),
            field("DisableBootloader"),
            field("DisableCpuDap"),
            field("CCFG_PROT_31_0")};
}

std::uint32_t StartOfFields(std::uint32_t sizeRegister, const CcfgLayout& layout) {
    return std::min({layout.geometry.SizeBytes() - SizeOf(sizeRegister, layout), layout.ble.address,
                     layout.ieee.address, layout.bootloader.address, layout.debugPort.address,
                     layout.protection.address});
}

std::span<const std::uint8_t> BytesOf(const FieldLocation& field, std::span<const std::uint8_t> lastSector,
                                      const CcfgLayout& layout) {
    const std::uint32_t start = layout.geometry.SizeBytes() - static_cast<std::uint32_t>(lastSector.size());
    return lastSector.subspan(field.address - start, field.lengthBytes);
}

CcfgInfo DecodeCcfg(const LastSector& sector, const CcfgLayout& layout) {
    const auto field = [&](const FieldLocation& location) { return BytesOf(location, sector.bytes, layout); };
    const auto address = [&](const FieldLocation& location) {
        const std::span<const std::uint8_t> bytes = field(location);
        return RadioAddress({bytes.begin(), bytes.end()});
    };
    const std::uint32_t size = SizeOf(sector.sizeRegister, layout);
    return {size,
            layout.geometry.SizeBytes() - size,
            field(layout.bootloader)[0] == 0,
            field(layout.debugPort)[0] == 0,
            ProtectedSectors(field(layout.protection), layout.geometry.sectorCount),
            address(layout.ble),
            address(layout.ieee)};
}

}  // namespace flash::host
