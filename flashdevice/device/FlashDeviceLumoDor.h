// The first generation of chips, `LumoD`.
#pragma once

#include "flashdevice/device/FlashDeviceLumo.h"

namespace flash {

class FlashDeviceLumoDor : public FlashDeviceLumo {
public:
    FlashDeviceLumoDor(std::string name, const std::string& secondText, const std::string& thirdText,
                       IFlashHost* flashHost);

    std::uint32_t GetRamSize(std::uint32_t sizeCode) const override;
    std::uint32_t GetRegisterAddress(std::string name) const override;
    std::uint32_t GetSectorOffset(std::uint32_t address) const override;
    std::uint32_t GetSectorStart(std::uint32_t address) const override;
    std::uint32_t GetErasedFlashChecksum(std::uint32_t size) const override;
};

}  // namespace flash
