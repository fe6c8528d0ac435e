// The chip's flash and RAM, measured from two of its registers and published to the host.
#include <algorithm>
#include <stdexcept>

#include "flashdevice/device/FlashDeviceLumo.h"

namespace flash {
namespace {

constexpr std::uint32_t kSectorCountRegister = 0x4003'002C;  // bits 7 to 0: number of flash sectors
constexpr std::uint32_t kRamSizeRegister = 0x4008'2250;      // bits 1 to 0: RAM size code
constexpr std::uint32_t kSectorCountMask = 0xFF;
constexpr std::uint32_t kRamSizeMask = 3;
constexpr std::uint32_t kMostSectors = 128;  // whatever the register holds

std::string Kilobytes(std::uint32_t bytes) { return std::to_string(bytes / 1024) + " KB"; }

}  // namespace

void FlashDeviceLumo::MeasureFlash() {
    sectorCount = std::min(ReadWord(kSectorCountRegister) & kSectorCountMask, kMostSectors);
    flashSize = sectorCount * sectorSize;
}

std::uint32_t FlashDeviceLumo::MeasuredFlashSize() {
    if (flashSize == 0) {
        MeasureFlash();
    }
    return flashSize;
}

void FlashDeviceLumo::ReadRamSize() { ramSize = GetRamSize(ReadWord(kRamSizeRegister) & kRamSizeMask); }

void FlashDeviceLumo::PublishDeviceInfo() {
    WriteProperty("DeviceInfoFlashSize", Kilobytes(flashSize) + " (" + std::to_string(sectorCount) + " sectors)");
    WriteProperty("DeviceInfoRAMSize", Kilobytes(ramSize));
    WriteProperty("DeviceInfoRevision", revisionName + " (" + RevisionNumber() + ")");
}

std::uint32_t FlashDeviceLumo::GetErasedFlashChecksum(std::uint32_t size) const {
    const auto row = erasedFlashChecksums.find(size);
    if (row == erasedFlashChecksums.end()) {
        throw std::runtime_error("Cannot perform Blank Check. Unknown Flash size!");
    }
    return row->second;
}

}  // namespace flash
