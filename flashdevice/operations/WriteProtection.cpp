#include "flashdevice/operations/WriteProtection.h"

#include "flashdevice/device/FlashUtil.h"

namespace flash {

void ProtectPages(ProtectionWords& words, const std::vector<bool>& pages) {
    for (std::size_t page = 0; page < pages.size(); ++page) {
        if (!pages[page]) {
            words[page < 32 ? 0 : 1] &= ~(1U << (page % 32));
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
