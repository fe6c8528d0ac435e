// The checking module's only export: the same as a plug-in's.
#include "flashdevice/boundary/Export.h"

#include "flashdevice/boundary/PluginFactory.h"
#include "validator/hostcheck/CheckModule.h"

const char* CreateFlashDevice2(const char* deviceName, const char* secondText, const char* thirdText,
                               flash::IFlashHost* host, flash::IFlashDevice2** device) {
    // Ends with the module, by its destructor; that is when the report is written.
    static flash::hostcheck::CheckModule module(&flash::CreateDevice, flash::hostcheck::Plan::FromEnvironment());
    return module.Create(deviceName, secondText, thirdText, host, device);
}
