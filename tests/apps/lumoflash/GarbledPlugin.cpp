// A plug-in whose texts are not UTF-8.
#include "flashdevice/interface/IFlashDevice2.h"

extern "C" __attribute__((visibility("default"))) const char* CreateFlashDevice2(const char*, const char*, const char*,
                                                                                 flash::IFlashHost*,
                                                                                 flash::IFlashDevice2**) {
    return "caf\xE9";
}
