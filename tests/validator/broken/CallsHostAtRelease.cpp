// Broken: the end of a device still asks the host something.
#include "tests/validator/broken/Wrapper.h"

namespace flash::broken {
namespace {

class CallsHostAtReleaseDevice final : public Device {
public:
    using Device::Device;

    const char* Release() override {
        host->GetProperty("FlashVerboseMode");
        return Device::Release();
    }
};

}  // namespace
}  // namespace flash::broken

BROKEN_FACTORY(flash::broken::Host, flash::broken::CallsHostAtReleaseDevice)
