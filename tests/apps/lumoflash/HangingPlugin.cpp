// A plug-in whose factory never comes back.
#include "flashdevice/interface/IFlashDevice2.h"

extern "C" __attribute__((visibility("default"))) const char* CreateFlashDevice2(const char*, const char*, const char*,
                                                                                 flash::IFlashHost*,
                                                                                 flash::IFlashDevice2**) {
    for (const volatile bool isHanging = true; isHanging;) {
    }
    return nullptr;
}
