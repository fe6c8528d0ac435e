#include "flashdevice/operations/WriteProtection.h"

#include "flashdevice/device/FlashUtil.h"

namespace flash {

void ProtectSectors(ProtectionWords& words, const std::vector<bool>& sectors) {
    for (std::size_t sector = 0; sector < sectors.size(); ++sector) {
        if (!sectors[sector]) {
            words[sector < 32 ? 0 : 1] &= ~(1U << (sector % 32));
        }
    }
}

std::vector<std::uint8_t> ProtectionBytes(const ProtectionWords& words) {
    std::vector<std::uint8_t> bytes = FlashUtil::ConvertWordToByteVector(words[0]);
    const std::vector<std::uint8_t> second = FlashUtil::ConvertWordToByteVector(words[1]);
    bytes.insert(bytes.end(), second.begin(), second.end());
    return bytes;
}

}  // namespace flash
