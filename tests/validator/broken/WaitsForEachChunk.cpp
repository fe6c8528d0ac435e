// Broken: polls a whole chunk that it has just posted, so that nothing overlaps.
#include "tests/validator/broken/Wrapper.h"

namespace flash::broken {
namespace {

class WaitsForEachChunkHost final : public PostingHost {
public:
    using PostingHost::PostingHost;

protected:
    const char* Post(Block block, std::uint64_t address) override {
        const char* error = PostingHost::Post(block, address);
        if (error == nullptr && block.length == 4096 && block.command == 3) {
            std::uint32_t status = 0;
            return host.ReadMemory(&status, 1, address + 16, 1, sizeof status);
        }
        return error;
    }
};

}  // namespace
}  // namespace flash::broken

BROKEN_FACTORY(flash::broken::WaitsForEachChunkHost, flash::broken::Device)
