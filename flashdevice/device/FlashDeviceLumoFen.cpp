// Hardware values of the `LumoF` chips.
#include "flashdevice/device/FlashDeviceLumoFen.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace flash {
namespace {

constexpr std::uint32_t kFenSectorSize = 0x2000;
constexpr std::uint32_t kFenReferenceFlashSize = 0x5'8000;
constexpr std::uint32_t kFenCcfgSizeRegister = 0x5000'4FB0;  // CCFG_SIZE_AND_DIS_FLAGS

constexpr std::uint32_t kRamSizes[] = {0x8000, 0xC000, 0x1'0000, 0x1'4000};  // bytes of SRAM by size code

}  // namespace

FlashDeviceLumoFen::FlashDeviceLumoFen(std::string name, const std::string& secondText, const std::string& thirdText,
                                       IFlashHost* flashHost)
    : FlashDeviceLumo(std::move(name), secondText, thirdText, flashHost) {
    sectorSize = kFenSectorSize;
    referenceFlashSize = kFenReferenceFlashSize;
    erasedFlashChecksums[0x5'8000] = 0x9DF9'84D5;
}

std::uint32_t FlashDeviceLumoFen::GetRamSize(std::uint32_t sizeCode) const { return kRamSizes[std::min(sizeCode, 3U)]; }

std::uint32_t FlashDeviceLumoFen::GetRegisterAddress(std::string name) const {
    if (name != kCcfgSizeRegisterName) {
        throw std::runtime_error("GetRegisterAddress(): Error: Address of register '" + name +
                                 "' is unknown for LumoF devices.");
    }
    return kFenCcfgSizeRegister;
}

std::uint32_t FlashDeviceLumoFen::GetSectorOffset(std::uint32_t address) const { return address & 0x0000'1FFF; }

std::uint32_t FlashDeviceLumoFen::GetSectorStart(std::uint32_t address) const { return address & 0xFFFF'E000; }

std::uint32_t FlashDeviceLumoFen::GetErasedFlashChecksum(std::uint32_t size) const {
    return FlashDeviceLumo::GetErasedFlashChecksum(size);
}

}  // namespace flash
