// Broken: takes the fill value 255 in decimal.
#include "tests/validator/broken/Wrapper.h"

namespace flash::broken {
namespace {

class AcceptsDecimalFillHost final : public Host {
public:
    using Host::Host;

    const char* GetProperty(const char* name) override {
        const char* text = host.GetProperty(name);
        const bool isDecimal =
            text != nullptr && std::strcmp(name, "FlashPagesFilledWithValue") == 0 && std::strcmp(text, "255") == 0;
        return isDecimal ? "0xFF" : text;
    }
};

}  // namespace
}  // namespace flash::broken

BROKEN_FACTORY(flash::broken::AcceptsDecimalFillHost, flash::broken::Device)
