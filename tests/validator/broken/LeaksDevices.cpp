// Broken: each released device leaves a block of memory behind.
#include <new>

#include "tests/validator/broken/Wrapper.h"

namespace flash::broken {
namespace {

class LeaksDevicesDevice final : public Device {
public:
    using Device::Device;

    const char* Release() override {
        lost = ::operator new(64);
        return Device::Release();
    }

private:
    void* volatile lost = nullptr;
};

}  // namespace
}  // namespace flash::broken

BROKEN_FACTORY(flash::broken::Host, flash::broken::LeaksDevicesDevice)
