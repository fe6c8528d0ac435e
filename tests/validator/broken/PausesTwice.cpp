// Broken: waits twice as long as it may, in pauses of the right length.
#include "tests/validator/broken/Wrapper.h"

namespace flash::broken {
namespace {

class PausesTwiceHost final : public Host {
public:
    using Host::Host;

    const char* WaitMilliseconds(std::uint32_t milliseconds) override {
        const char* error = host.WaitMilliseconds(milliseconds);
        return error == nullptr ? host.WaitMilliseconds(milliseconds) : error;
    }
};

}  // namespace
}  // namespace flash::broken

BROKEN_FACTORY(flash::broken::PausesTwiceHost, flash::broken::Device)
