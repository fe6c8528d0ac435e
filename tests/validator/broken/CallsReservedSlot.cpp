// Broken: a route is selected with a call of a slot that is not the plug-in's.
#include "tests/validator/broken/Wrapper.h"

namespace flash::broken {
namespace {

class CallsReservedSlotHost final : public Host {
public:
    using Host::Host;

    const char* SelectCore(const char* name) override {
        host.Reserved12();
        return host.SelectCore(name);
    }
};

}  // namespace
}  // namespace flash::broken

BROKEN_FACTORY(flash::broken::CallsReservedSlotHost, flash::broken::Device)
