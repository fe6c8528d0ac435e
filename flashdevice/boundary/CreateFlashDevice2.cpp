// The module's only export.
#if defined(_WIN32)
#define FLASHDEVICE_API __declspec(dllexport)
#else
#define FLASHDEVICE_API __attribute__((visibility("default")))
#endif

#include "flashdevice/boundary/FlashDeviceFactory.h"
#include "flashdevice/boundary/GenerationSelection.h"
#include "flashdevice/device/FlashDeviceLumoDor.h"
#include "flashdevice/device/FlashDeviceLumoFen.h"
#include "flashdevice/interface/IFlashDevice2.h"

const char* CreateFlashDevice2(const char* deviceName, const char* secondText, const char* thirdText,
                               flash::IFlashHost* host, flash::IFlashDevice2** device) {
    using FirstGeneration = flash::FlashDeviceFactory<flash::FlashDeviceLumoDor, unsigned char, unsigned int>;
    using SecondGeneration = flash::FlashDeviceFactory<flash::FlashDeviceLumoFen, unsigned char, unsigned int>;
    // Outside the guarded region, on purpose: a name without a generation digit is the host's mistake and throws.
    const bool isSecond = flash::IsSecondGeneration(deviceName == nullptr ? "" : deviceName);
    return isSecond ? SecondGeneration::Create(deviceName, secondText, thirdText, host, device)
                    : FirstGeneration::Create(deviceName, secondText, thirdText, host, device);
}
