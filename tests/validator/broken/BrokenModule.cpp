// The real plug-in's code with one bug: the one that its file, or a link to it, is named after.
#include "flashdevice/boundary/Export.h"

#include <cstdlib>
#include <memory>

#include "flashdevice/boundary/FlashDeviceFactory.h"
#include "flashdevice/boundary/GenerationSelection.h"
#include "flashdevice/device/FlashDeviceLumoDor.h"
#include "flashdevice/device/FlashDeviceLumoFen.h"
#include "tests/validator/broken/Between.h"
#include "tests/validator/broken/System.h"

namespace flash::broken {
namespace {

Planting FindBug(std::string_view name) {
    for (const Planting& found : {FindTextBug(name), FindCommandBug(name), FindCallBug(name)}) {
        if (found) {
            return found;
        }
    }
    return nullptr;
}

__attribute__((destructor)) void End() {
    if (NameOfModule() == "can-be-unloaded") {
        std::abort();
    }
    for (const volatile bool isHanging = NameOfModule() == "never-unloads"; isHanging;) {
    }
}

}  // namespace

const char* Between::Create(const char* deviceName) {
    using First = FlashDeviceFactory<FlashDeviceLumoDor, unsigned char, unsigned int>;
    using Second = FlashDeviceFactory<FlashDeviceLumoFen, unsigned char, unsigned int>;
    const auto create = IsSecondGeneration(deviceName) ? Second::Create : First::Create;
    return create(deviceName, secondText, thirdText, this, &device);
}

}  // namespace flash::broken

const char* CreateFlashDevice2(const char* name, const char* secondText, const char* thirdText, flash::IFlashHost* host,
                               flash::IFlashDevice2** device) {
    const flash::broken::Planting plant = flash::broken::FindBug(flash::broken::NameOfModule());
    if (!plant) {
        return "the module is not named after a bug";
    }
    auto between = std::make_unique<flash::broken::Between>(*host, secondText, thirdText);
    plant(*between);
    const char* error = between->instead.create ? between->instead.create(name) : between->Create(name);
    if (error == nullptr) {
        *device = between.release();
    }
    return error;
}
