// Making a device of the generation that its name selects: what the module's export does, and the checker for hosts
// too.
#pragma once

#include "flashdevice/boundary/FlashDeviceFactory.h"
#include "flashdevice/boundary/GenerationSelection.h"
#include "flashdevice/device/FlashDeviceLumoDor.h"
#include "flashdevice/device/FlashDeviceLumoFen.h"
#include "flashdevice/interface/IFlashDevice2.h"

namespace flash {

// As `CreateFlashDevice2`.
inline const char* CreateDevice(const char* deviceName, const char* secondText, const char* thirdText, IFlashHost* host,
                                IFlashDevice2** device) {
    using FirstGeneration = FlashDeviceFactory<FlashDeviceLumoDor, unsigned char, unsigned int>;
    using SecondGeneration = FlashDeviceFactory<FlashDeviceLumoFen, unsigned char, unsigned int>;
    // Outside the guarded region, on purpose: a name without a generation digit is the host's mistake and throws.
    const bool isSecond = IsSecondGeneration(deviceName == nullptr ? "" : deviceName);
    return isSecond ? SecondGeneration::Create(deviceName, secondText, thirdText, host, device)
                    : FirstGeneration::Create(deviceName, secondText, thirdText, host, device);
}

}  // namespace flash
