// Broken: an exception leaves an operation.
#include <stdexcept>

#include "tests/validator/broken/Wrapper.h"

namespace flash::broken {
namespace {

class ThrowsAcrossDevice final : public Device {
public:
    using Device::Device;

    const char* HandlesVerification(std::uint64_t address, bool* result) override {
        const char* error = Device::HandlesVerification(address, result);
        if (error == nullptr && *result) {
            throw std::runtime_error("verification is not handled here");
        }
        return error;
    }
};

}  // namespace
}  // namespace flash::broken

BROKEN_FACTORY(flash::broken::Host, flash::broken::ThrowsAcrossDevice)
