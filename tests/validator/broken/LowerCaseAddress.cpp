// Broken: the primary BLE address is published in lower case.
#include "tests/validator/broken/Wrapper.h"

namespace flash::broken {
namespace {

class LowerCaseAddressHost final : public Host {
public:
    using Host::Host;

    const char* SetProperty(const char* name, const char* value) override {
        std::string text = value;
        for (char& character : text) {
            const bool isUpper = character >= 'A' && character <= 'F';
            character = isUpper ? static_cast<char>(character - 'A' + 'a') : character;
        }
        return host.SetProperty(name, std::strcmp(name, "DeviceBlePrimary") == 0 ? text.c_str() : value);
    }
};

}  // namespace
}  // namespace flash::broken

BROKEN_FACTORY(flash::broken::LowerCaseAddressHost, flash::broken::Device)
