// Asking the flashloader whether the whole flash is erased.
#include "flashdevice/boundary/HostServices.h"
#include "flashdevice/device/FlashDeviceLumo.h"
#include "flashdevice/flashloader/CommandBlock.h"

namespace flash {

bool FlashDeviceLumo::BlankCheck() {
    if (!LoadFlashloader()) {  // GCOVR_EXCL_START: a failure throws
        return false;
    }  // GCOVR_EXCL_STOP
    const std::uint32_t reference = GetErasedFlashChecksum(flashSize);
    // GCOVR_EXCL_START: a failure throws
    if (!PostCommand({static_cast<std::uint32_t>(Command::BlankCheck), 0, flashSize, reference})) {
        return false;
    }
    // GCOVR_EXCL_STOP
    // The core runs already and is not started again, on purpose. Every failure counts as programmed.
    const bool isBlank = WaitForPostedCommand() == kStatusSuccess;
    PrintText(Host(), isBlank ? "Blank Check: Device flash is blank" : "Blank Check: Device flash is programmed");
    return isBlank;
}

}  // namespace flash
