// Hardware values of the `LumoD` chips.
#include "flashdevice/device/FlashDeviceLumoDor.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace flash {
namespace {

constexpr std::uint32_t kDorSectorSize = 0x1000;
constexpr std::uint32_t kDorReferenceFlashSize = 0x2'0000;
constexpr std::uint32_t kDorCcfgSizeRegister = 0x5000'3FB0;  // CCFG_SIZE_AND_DIS_FLAGS

// Bytes of SRAM by size code.
constexpr std::uint32_t kSmallRamSizes[] = {0x800, 0x1000, 0x2000, 0x4000};
constexpr std::uint32_t kLargeRamSizes[] = {0x1000, 0x2800, 0x4000, 0x5000};

}  // namespace

FlashDeviceLumoDor::FlashDeviceLumoDor(std::string name, const std::string& secondText, const std::string& thirdText,
                                       IFlashHost* flashHost)
    : FlashDeviceLumo(std::move(name), secondText, thirdText, flashHost) {
    sectorSize = kDorSectorSize;
    referenceFlashSize = kDorReferenceFlashSize;
    erasedFlashChecksums[0x2'0000] = 0x208E'45D0;
    erasedFlashChecksums[0x1'0000] = 0xEB6D'3852;
    erasedFlashChecksums[0x8000] = 0x2E85'ACA1;
}

std::uint32_t FlashDeviceLumoDor::GetRamSize(std::uint32_t sizeCode) const {
    const bool isSmall = deviceName.find("R2") == std::string::npos && revisionMajor == 1;
    const std::uint32_t index = std::min(sizeCode, 3U);
    return isSmall ? kSmallRamSizes[index] : kLargeRamSizes[index];
}

std::uint32_t FlashDeviceLumoDor::GetRegisterAddress(std::string name) const {
    if (name != kCcfgSizeRegisterName) {
        throw std::runtime_error("GetRegisterAddress(): Error: Address of register '" + name +
                                 "' is unknown for LumoD devices.");
    }
    return kDorCcfgSizeRegister;
}

std::uint32_t FlashDeviceLumoDor::GetSectorOffset(std::uint32_t address) const { return address & 0x0000'0FFF; }

std::uint32_t FlashDeviceLumoDor::GetSectorStart(std::uint32_t address) const { return address & 0xFFFF'F000; }

std::uint32_t FlashDeviceLumoDor::GetErasedFlashChecksum(std::uint32_t size) const {
    return FlashDeviceLumo::GetErasedFlashChecksum(size);
}

}  // namespace flash
