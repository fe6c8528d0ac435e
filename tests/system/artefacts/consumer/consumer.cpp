// Makes and ends one device through the installed headers and library.
#include <flashdevice/interface/IFlashDevice2.h>

#include <cstdio>
#include <cstring>

int main() {
    flash::IFlashDevice2* device = nullptr;
    const char* error = CreateFlashDevice2("LumoF2", nullptr, nullptr, nullptr, &device);
    if (error != nullptr || device == nullptr) {
        return 1;
    }
    const bool refuses = std::strcmp(device->SetTargetDataType(0), "Unsupported target data type") == 0;
    device->Release();
    std::puts(refuses ? "the installed plug-in answers" : "the installed plug-in gave an unknown answer");
    return refuses ? 0 : 1;
}
