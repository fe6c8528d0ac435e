// Broken: an address above 32 bits loses its upper half without a word.
#include "tests/validator/broken/Wrapper.h"

namespace flash::broken {
namespace {

class CutsAddressesDevice final : public Device {
public:
    using Device::Device;

    const char* IsAddressInFlash(std::uint64_t address, bool* result) override {
        return Device::IsAddressInFlash(address & 0xFFFF'FFFF, result);
    }
};

}  // namespace
}  // namespace flash::broken

BROKEN_FACTORY(flash::broken::Host, flash::broken::CutsAddressesDevice)
