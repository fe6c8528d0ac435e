// Broken: an unusual range ends the whole process.
#include <cstdlib>

#include "tests/validator/broken/Wrapper.h"

namespace flash::broken {
namespace {

class EndsTheProcessDevice final : public Device {
public:
    using Device::Device;

    const char* IsRangeInFlash(std::uint64_t address, std::uint32_t lengthBytes, bool* result) override {
        if (address + lengthBytes > 0xFFFF'FFFF && address <= 0xFFFF'FFFF) {
            std::_Exit(0);
        }
        return Device::IsRangeInFlash(address, lengthBytes, result);
    }
};

}  // namespace
}  // namespace flash::broken

BROKEN_FACTORY(flash::broken::Host, flash::broken::EndsTheProcessDevice)
