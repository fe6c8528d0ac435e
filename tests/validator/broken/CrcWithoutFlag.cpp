// Broken: a CRC field that nobody asked for is not 0.
#include "tests/validator/broken/Wrapper.h"

namespace flash::broken {
namespace {

class CrcWithoutFlagHost final : public PostingHost {
public:
    using PostingHost::PostingHost;

protected:
    const char* Post(Block block, std::uint64_t address) override {
        const bool isPlainProgram = block.command >= 2 && block.command <= 4;
        block.crc = isPlainProgram ? 0x1234 : block.crc;
        return PostingHost::Post(block, address);
    }
};

}  // namespace
}  // namespace flash::broken

BROKEN_FACTORY(flash::broken::CrcWithoutFlagHost, flash::broken::Device)
