// Broken: an error text is gone as soon as an operation succeeds.
#include "tests/validator/broken/Wrapper.h"

namespace flash::broken {
namespace {

class ForgetsErrorTextsDevice final : public Device {
public:
    using Device::Device;

    const char* Execute(const char* operation) override { return Keep(Device::Execute(operation)); }
    const char* NotifyPhase(std::int64_t phase) override { return Keep(Device::NotifyPhase(phase)); }

private:
    const char* Keep(const char* error) {
        text.assign(error == nullptr ? "" : error);
        return error == nullptr ? nullptr : text.c_str();
    }

    std::string text = std::string(4000, ' ');
};

}  // namespace
}  // namespace flash::broken

BROKEN_FACTORY(flash::broken::Host, flash::broken::ForgetsErrorTextsDevice)
