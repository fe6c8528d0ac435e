// Broken: every phase halts the target.
#include "tests/validator/broken/Wrapper.h"

namespace flash::broken {
namespace {

class HaltsTooOftenDevice final : public Device {
public:
    using Device::Device;

    const char* NotifyPhase(std::int64_t phase) override {
        if (phase != 1 && phase != 2) {
            host->HaltTarget();
        }
        return Device::NotifyPhase(phase);
    }
};

}  // namespace
}  // namespace flash::broken

BROKEN_FACTORY(flash::broken::Host, flash::broken::HaltsTooOftenDevice)
