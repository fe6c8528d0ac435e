// Broken: kept CCFG is not programmed back after the operation "Erase".
#include "tests/validator/broken/Wrapper.h"

namespace flash::broken {
namespace {

bool isErasing = false;

class LosingHost final : public PostingHost {
public:
    using PostingHost::PostingHost;

protected:
    const char* Post(Block block, std::uint64_t address) override {
        return isErasing && block.command == 4 ? nullptr : PostingHost::Post(block, address);
    }
};

class LosingDevice final : public Device {
public:
    using Device::Device;

    const char* Execute(const char* operation) override {
        isErasing = std::strcmp(operation, "Erase") == 0;
        const char* error = Device::Execute(operation);
        isErasing = false;
        return error;
    }
};

}  // namespace
}  // namespace flash::broken

BROKEN_FACTORY(flash::broken::LosingHost, flash::broken::LosingDevice)
