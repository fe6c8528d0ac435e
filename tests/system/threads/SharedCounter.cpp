// Broken: all devices count their messages in one place, without a lock. Alone, each works as it should.
#include "tests/validator/broken/Wrapper.h"

namespace flash::broken {
namespace {

unsigned messageCount = 0;

class CountingHost final : public Host {
public:
    using Host::Host;

    const char* PrintMessage(const char* text) override {
        ++messageCount;
        return host.PrintMessage(text);
    }
};

}  // namespace
}  // namespace flash::broken

BROKEN_FACTORY(flash::broken::CountingHost, flash::broken::Device)
