// Broken: pauses 10 ms between two polls.
#include "tests/validator/broken/Wrapper.h"

namespace flash::broken {
namespace {

class PausesTooLongHost final : public Host {
public:
    using Host::Host;

    const char* WaitMilliseconds(std::uint32_t) override { return host.WaitMilliseconds(10); }
};

}  // namespace
}  // namespace flash::broken

BROKEN_FACTORY(flash::broken::PausesTooLongHost, flash::broken::Device)
