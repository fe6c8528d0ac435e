// Broken: the CRC lacks its final complement.
#include "tests/validator/broken/Wrapper.h"

namespace flash::broken {
namespace {

class WrongCrcHost final : public PostingHost {
public:
    using PostingHost::PostingHost;

protected:
    const char* Post(Block block, std::uint64_t address) override {
        if ((block.command & 0x10) != 0) {
            block.crc = ~block.crc;
        }
        return PostingHost::Post(block, address);
    }
};

}  // namespace
}  // namespace flash::broken

BROKEN_FACTORY(flash::broken::WrongCrcHost, flash::broken::Device)
