// Broken: the list of operations lacks the last one.
#include "tests/validator/broken/Wrapper.h"

namespace flash::broken {
namespace {

class ForgetsAnOperationDevice final : public Device {
public:
    using Device::Device;

    const char* Initialize(bool* ready, const char** operations) override {
        const char* error = Device::Initialize(ready, operations);
        if (error == nullptr) {
            *operations =
                "Erase, EraseSectors, ReadPriBle, ReadSecBle, WriteSecBle, ReadPriIeee, ReadSecIeee, WriteSecIeee";
        }
        return error;
    }
};

}  // namespace
}  // namespace flash::broken

BROKEN_FACTORY(flash::broken::Host, flash::broken::ForgetsAnOperationDevice)
