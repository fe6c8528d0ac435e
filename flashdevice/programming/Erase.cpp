// What is erased before programming: the mode that the user set, the whole bank, or listed sectors.
#include <stdexcept>

#include "flashdevice/device/FlashDeviceLumo.h"
#include "flashdevice/mailbox/CommandBlock.h"
#include "flashdevice/programming/EraseMode.h"
#include "flashdevice/programming/PageList.h"

namespace flash {
namespace {

constexpr char kBankEraseFailed[] =
    "Erasing all unprotected pages failed! Timed out waiting for target flashloader to complete command";

}  // namespace

EraseMode FlashDeviceLumo::GetEraseMode() { return ClassifyEraseSetting(ReadProperty(kEraseSettingKey)); }

bool FlashDeviceLumo::MassErase() {
    if (IsVerbose()) {
        PrintFormatted("Performing bank erase");
    }
    HoldCcfg();
    if (!LoadFlashloader()) {
        if (IsVerbose()) {
            PrintFormatted("Bank Erase: Failed to write flashloader to target");
        }
        return false;
    }
    const CommandBlock block{static_cast<std::uint32_t>(Command::BankErase), 0, 0, 0};
    PostCommand(block);
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

// Each range is waited for when the next command is posted: the last one by whatever comes after.
void FlashDeviceLumo::EraseSectorRanges(const char* propertyName) {
    for (const std::string& sectors : PageListToRanges(propertyName, false)) {
        const AddressRange range = ParseSectorRange(sectors, sectorSize);
        LoadFlashloader();
        // The length is one less than the number of bytes, on purpose: the flashloader's rule for this command.
        const CommandBlock block{static_cast<std::uint32_t>(Command::EraseSectors), range.first,
                                 range.last - range.first, 0};
        PostCommand(block);
        if (WaitForCommand() != kStatusSuccess) {
            PrintUnfinishedCommand(block);
            FailTimedOut();
        }
    }
}

}  // namespace flash
