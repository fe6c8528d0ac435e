// Broken: the first address behind flash counts as outside.
#include "tests/validator/broken/Wrapper.h"

namespace flash::broken {
namespace {

class EndOfFlashIsOutsideDevice final : public Device {
public:
    using Device::Device;

    const char* IsAddressInFlash(std::uint64_t address, bool* result) override {
        const char* error = Device::IsAddressInFlash(address, result);
        bool isNextInside = true;
        if (error == nullptr && *result && Device::IsAddressInFlash(address + 1, &isNextInside) == nullptr) {
            *result = isNextInside;
        }
        return error;
    }
};

}  // namespace
}  // namespace flash::broken

BROKEN_FACTORY(flash::broken::Host, flash::broken::EndOfFlashIsOutsideDevice)
