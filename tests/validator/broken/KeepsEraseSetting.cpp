// Broken: the erase setting of a CCFG change is not put back.
#include "tests/validator/broken/Wrapper.h"

namespace flash::broken {
namespace {

class KeepsEraseSettingHost final : public Host {
public:
    using Host::Host;

    const char* SetProperty(const char* name, const char* value) override {
        const bool isPutBack =
            std::strcmp(name, "FlashEraseSetting") == 0 && std::strcmp(value, "Necessary Sectors Only") != 0;
        return isPutBack ? nullptr : host.SetProperty(name, value);
    }
};

}  // namespace
}  // namespace flash::broken

BROKEN_FACTORY(flash::broken::KeepsEraseSettingHost, flash::broken::Device)
