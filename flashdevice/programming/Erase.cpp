// Erasing the whole bank. (Listed sectors: flashloader/CommandMailbox.cpp.)
#include <stdexcept>

#include "flashdevice/device/FlashDeviceLumo.h"
#include "flashdevice/mailbox/CommandBlock.h"

namespace flash {
namespace {

constexpr char kBankEraseFailed[] =
    "Erasing all unprotected pages failed! Timed out waiting for target flashloader to complete command";

}  // namespace

bool FlashDeviceLumo::MassErase() {
    if (IsVerbose()) {
        PrintFormatted("Performing bank erase");
    }
    HoldCcfg();
    if (!LoadFlashloader()) {  // GCOVR_EXCL_BR_LINE: a failure throws
        // GCOVR_EXCL_START: a failure throws
        if (IsVerbose()) {
            PrintFormatted("Bank Erase: Failed to write flashloader to target");
        }
        return false;
        // GCOVR_EXCL_STOP
    }
    const CommandBlock block{static_cast<std::uint32_t>(Command::BankErase), 0, 0, 0};
    if (!PostCommand(block)) {  // GCOVR_EXCL_BR_LINE: a failure throws
        return false;           // GCOVR_EXCL_LINE: a failure throws
    }
    currentBlock ^= 1;
    Run();
    if (WaitForPostedCommand() != kStatusSuccess) {
        PrintFormatted("%s", kBankEraseFailed);
        throw std::runtime_error(kBankEraseFailed);
    }
    bankEraseDone = true;
    if (KeepCcfgActive()) {
        RestoreCcfg();
    }
    return true;
}

}  // namespace flash
