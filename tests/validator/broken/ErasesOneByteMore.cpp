// Broken: the operation "EraseSectors" posts the byte count instead of one less.
#include "tests/validator/broken/Wrapper.h"

namespace flash::broken {
namespace {

bool isErasingSectors = false;

class ErasingHost final : public PostingHost {
public:
    using PostingHost::PostingHost;

protected:
    const char* Post(Block block, std::uint64_t address) override {
        if (isErasingSectors && block.command == 5) {
            ++block.length;
        }
        return PostingHost::Post(block, address);
    }
};

class ErasingDevice final : public Device {
public:
    using Device::Device;

    const char* Execute(const char* operation) override {
        isErasingSectors = std::strcmp(operation, "EraseSectors") == 0;
        const char* error = Device::Execute(operation);
        isErasingSectors = false;
        return error;
    }
};

}  // namespace
}  // namespace flash::broken

BROKEN_FACTORY(flash::broken::ErasingHost, flash::broken::ErasingDevice)
