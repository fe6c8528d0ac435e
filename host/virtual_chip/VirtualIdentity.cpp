// Bytes as in factory data: the first one of an address as it is written is the last here.
#include "host/virtual_chip/VirtualIdentity.h"

#include <sodium.h>

#include <algorithm>
#include <vector>

#include "host/Failure.h"

namespace flash::host {
namespace {

constexpr std::uint8_t kLocallyAdministered = 0x02;
constexpr std::uint8_t kGroup = 0x01;  // of several receivers, which no chip is
constexpr std::uint8_t kStaticBle = 0xC0;

}  // namespace

RadioAddress DrawIdentity() {
    if (sodium_init() < 0) {
        throw Failure(FailureKind::Operation, "Cannot draw an identity for a new virtual chip: no random numbers");
    }
    std::vector<std::uint8_t> bytes(kIeeeAddressBytes);
    randombytes_buf(bytes.data(), bytes.size());
    bytes.back() = static_cast<std::uint8_t>((bytes.back() & ~kGroup) | kLocallyAdministered);
    return RadioAddress(bytes);
}

void SetIdentity(chip::Settings& settings, const RadioAddress& primaryIeee) {
    const std::vector<std::uint8_t>& bytes = primaryIeee.Bytes();
    std::ranges::copy(bytes, settings.primaryIeeeAddress.begin());
    std::copy_n(bytes.begin(), kBleAddressBytes - 1, settings.primaryBleAddress.begin());
    settings.primaryBleAddress.back() = bytes.back() | kStaticBle;
}

RadioAddress IdentityOf(const chip::Settings& settings) {
    return RadioAddress({settings.primaryIeeeAddress.begin(), settings.primaryIeeeAddress.end()});
}

}  // namespace flash::host
