// Broken: target memory is read on page 0.
#include "tests/validator/broken/Wrapper.h"

namespace flash::broken {
namespace {

class WrongPageHost final : public Host {
public:
    using Host::Host;

    const char* ReadMemory(void* buffer, std::size_t count, std::uint64_t address, std::uint16_t,
                           std::size_t elementSize) override {
        return host.ReadMemory(buffer, count, address, 0, elementSize);
    }
};

}  // namespace
}  // namespace flash::broken

BROKEN_FACTORY(flash::broken::WrongPageHost, flash::broken::Device)
