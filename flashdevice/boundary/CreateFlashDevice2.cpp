// The module's only export.
#if defined(_WIN32)
#define FLASHDEVICE_API __declspec(dllexport)
#else
#define FLASHDEVICE_API __attribute__((visibility("default")))
#endif

#include "flashdevice/boundary/PluginFactory.h"

const char* CreateFlashDevice2(const char* deviceName, const char* secondText, const char* thirdText,
                               flash::IFlashHost* host, flash::IFlashDevice2** device) {
    return flash::CreateDevice(deviceName, secondText, thirdText, host, device);
}
