// The user's options, read from the host whenever they are needed, and what happens at the edges of an operation.
#include "flashdevice/operations/Options.h"

#include <algorithm>

#include "flashdevice/device/FlashDeviceLumo.h"
#include "flashdevice/operations/OperationNames.h"
#include "flashdevice/programming/CcfgData.h"
#include "flashdevice/programming/EraseMode.h"

namespace flash {
namespace {

// Phases as the host numbers them; every other number only resets.
constexpr std::uint32_t kProgramLoadStarts = 1;
constexpr std::uint32_t kOperationFinished = 2;

// In the order of the tests: the first that is on makes the closing phase change CCFG.
constexpr const char* kCcfgOptions[] = {
    kRetainIeeeSecondary,   kRetainBleSecondary, kOverrideBleSecondary, kOverrideIeeeSecondary,
    kWriteProtectionToggle, kDisableBootloader,  kDisableCpuDap,
};

}  // namespace

void FlashDeviceLumo::OnFlashPhase(std::uint32_t phase) {
    if (phase == kProgramLoadStarts || phase == kOperationFinished) {
        Halt();
        verboseState = kVerboseUnread;
    }
    if (phase == kProgramLoadStarts) {
        OnProgramLoadStart();
    }
    ResetOperationState();
    if (phase == kOperationFinished) {
        OnOperationEnd();
    }
}

void FlashDeviceLumo::OnProgramLoadStart() {
    if (IsOptionOn(kRetainIeeeSecondary)) {
        DoReadMacAddress(kReadSecIeee);
    }
    if (IsOptionOn(kRetainBleSecondary)) {
        DoReadMacAddress(kReadSecBle);
    }
    if (PageSkipActive()) {
        OverrideEraseOfSkippedSectors();
    }
}

// A bank erase would erase the skipped sectors too. The host's setting stays changed, on purpose.
void FlashDeviceLumo::OverrideEraseOfSkippedSectors() {
    if (ReadProperty(kEraseSettingKey).find(kEraseAllUnprotected) == std::string::npos) {
        return;
    }
    WriteProperty(kEraseSettingKey, kEraseNecessary);
    if (IsVerbose()) {
        PrintFormatted("Overriding erase option to \"%s\" because the Skip Sector option is enabled\n",
                       kEraseNecessary);
    }
}

void FlashDeviceLumo::ResetOperationState() {
    // The constructor resets before there is a record.
    if (ccfgData) {
        *ccfgData = CcfgData{};
    }
    bankEraseDone = false;
    flashloaderLoaded = false;
    currentBlock = 0;
    sectorRanges.clear();
}

void FlashDeviceLumo::OnOperationEnd() {
    const bool isChanging = std::any_of(std::begin(kCcfgOptions), std::end(kCcfgOptions),
                                        [this](const char* option) { return IsOptionOn(option); });
    if (isChanging) {
        ApplyCcfgChanges(kAllCcfgChanges);
        Halt();
    }
}

}  // namespace flash
