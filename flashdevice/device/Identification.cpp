// Which silicon revision is connected: the identification code of the chip's debug router, by the host's table.
#include <stdexcept>

#include "flashdevice/device/FlashDeviceLumo.h"
#include "flashdevice/device/HostServices.h"

namespace flash {
namespace {

constexpr char kRouter[] = "Sluice";
constexpr char kCore[] = "Cortex";
constexpr std::uint32_t kIdCodeRegister = 1;
constexpr std::uint32_t kRevisionShift = 28;  // bits 31 to 28 of the identification code

}  // namespace

std::uint32_t FlashDeviceLumo::ReadIdCode() {
    std::uint64_t value = 0;
    ThrowIfError(Host().ReadRegister(kIdCodeRegister, &value));
    if (value > 0xFFFF'FFFF) {
        // The doubled word is meant: the text that users and their scripts know.
        throw std::runtime_error("Lumo flash supports only supports 32 bit addresses");
    }
    return static_cast<std::uint32_t>(value);
}

bool FlashDeviceLumo::IdentifyDevice() {
    ThrowIfError(Host().SelectCore(kRouter));
    const std::uint32_t idCode = ReadIdCode();
    ThrowIfError(Host().SelectCore(kCore));
    // The table is appended to at every start-up, which changes nothing: the first match and the last entry stay.
    GetFlashUtil()->ReadRevisionTranslation(revisionTranslation);
    const std::uint32_t code = idCode >> kRevisionShift;
    for (const RevisionTranslationEntry& entry : revisionTranslation) {
        if (entry.code == code) {
            FlashUtil::ConvertRevisionStringToMajorMinor(entry.revisionText, &revisionMajor, &revisionMinor);
            revisionName = entry.name;
            return true;
        }
    }
    if (revisionTranslation.empty()) {
        throw std::out_of_range("invalid vector<T> subscript");
    }
    // Only the numbers are assumed; the name stays as it is, on purpose.
    FlashUtil::ConvertRevisionStringToMajorMinor(revisionTranslation.back().revisionText, &revisionMajor,
                                                 &revisionMinor);
    PrintUnknownRevision(code);
    return false;
}

void FlashDeviceLumo::PrintUnknownRevision(std::uint32_t code) {
    const std::string digit(1, "0123456789abcdef"[code & 0xF]);
    std::string assumed = RevisionNumber();
    if (revisionName != "-") {
        assumed = revisionName + " (" + assumed + ")";
    }
    PrintText(Host(), "Device revision '0x" + digit +
                          "' unknown for selected target. Assuming latest known revision: Rev. " + assumed + ".");
}

std::string FlashDeviceLumo::RevisionNumber() const {
    return std::to_string(revisionMajor) + "." + std::to_string(revisionMinor);
}

}  // namespace flash
