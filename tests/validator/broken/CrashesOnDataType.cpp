// Broken: writes through a null pointer when it is asked for a data type.
#include "tests/validator/broken/Wrapper.h"

namespace flash::broken {
namespace {

class CrashesOnDataTypeDevice final : public Device {
public:
    using Device::Device;

    const char* SetTargetDataType(std::uint64_t dataType) override {
        *target = dataType;
        return Device::SetTargetDataType(dataType);
    }

private:
    volatile std::uint64_t* volatile target = nullptr;
};

}  // namespace
}  // namespace flash::broken

BROKEN_FACTORY(flash::broken::Host, flash::broken::CrashesOnDataTypeDevice)
