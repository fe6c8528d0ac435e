// Asking the flashloader whether the whole flash is erased.
#include "flashdevice/device/FlashDeviceLumo.h"
#include "flashdevice/device/HostServices.h"
#include "flashdevice/mailbox/CommandBlock.h"

namespace flash {

bool FlashDeviceLumo::BlankCheck() {
    LoadFlashloader();
    const std::uint32_t reference = GetErasedFlashChecksum(flashSize);
    const CommandBlock block{static_cast<std::uint32_t>(Command::BlankCheck), 0, flashSize, reference};
    PostCommand(block);
    // The core runs already and is not started again, on purpose. Every failure counts as programmed.
    const bool isBlank = WaitForPostedCommand() == kStatusSuccess;
    PrintText(Host(), isBlank ? "Blank Check: Device flash is blank" : "Blank Check: Device flash is programmed");
    return isBlank;
}

}  // namespace flash
