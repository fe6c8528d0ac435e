// Broken: an error text is cut after 1000 characters.
#include "tests/validator/broken/Wrapper.h"

namespace flash::broken {
namespace {

class ShortensTextsDevice final : public Device {
public:
    using Device::Device;

    const char* NotifyPhase(std::int64_t phase) override {
        const char* error = Device::NotifyPhase(phase);
        if (error == nullptr || std::strlen(error) <= 1000) {
            return error;
        }
        text.assign(error, 1000);
        return text.c_str();
    }

private:
    std::string text;
};

}  // namespace
}  // namespace flash::broken

BROKEN_FACTORY(flash::broken::Host, flash::broken::ShortensTextsDevice)
