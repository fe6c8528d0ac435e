// The module's only export.
#include "flashdevice/boundary/Export.h"

#include "flashdevice/boundary/PluginFactory.h"

const char* CreateFlashDevice2(const char* deviceName, const char* secondText, const char* thirdText,
                               flash::IFlashHost* host, flash::IFlashDevice2** device) {
    return flash::CreateDevice(deviceName, secondText, thirdText, host, device);
}
