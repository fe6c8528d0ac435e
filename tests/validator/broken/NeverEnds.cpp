// Broken: the second name of the bank erase never comes back.
#include "tests/validator/broken/Wrapper.h"

namespace flash::broken {
namespace {

class NeverEndsDevice final : public Device {
public:
    using Device::Device;

    const char* Execute(const char* operation) override {
        while (std::strcmp(operation, "MassErase()") == 0) {
            turns = turns + 1;
        }
        return Device::Execute(operation);
    }

private:
    volatile unsigned turns = 0;
};

}  // namespace
}  // namespace flash::broken

BROKEN_FACTORY(flash::broken::Host, flash::broken::NeverEndsDevice)
