// Broken: a chunk's line that cannot be shown is passed over.
#include "tests/validator/broken/Wrapper.h"

namespace flash::broken {
namespace {

class IgnoresFailingMessageHost final : public Host {
public:
    using Host::Host;

    const char* PrintMessage(const char* text) override {
        const bool isChunk = std::strncmp(text, "  Chunk", 7) == 0;
        const char* error = host.PrintMessage(text);
        return isChunk ? nullptr : error;
    }
};

}  // namespace
}  // namespace flash::broken

BROKEN_FACTORY(flash::broken::IgnoresFailingMessageHost, flash::broken::Device)
