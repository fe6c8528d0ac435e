// From the name of an operation to its handler, framed by the phases.
#include <stdexcept>

#include "flashdevice/device/FlashDeviceLumo.h"
#include "flashdevice/operations/OperationNames.h"

namespace flash {
namespace {

constexpr char kStandaloneEraseText[] = "StandaloneEraseSpecificText";

bool IsErase(const std::string& operation) { return operation == kErase || operation == kMassErase; }

bool IsAddressRead(const std::string& operation) {
    return operation == kReadPriBle || operation == kReadSecBle || operation == kReadPriIeee ||
           operation == kReadSecIeee;
}

bool IsAddressWrite(const std::string& operation) { return operation == kWriteSecBle || operation == kWriteSecIeee; }

}  // namespace

void FlashDeviceLumo::ExecuteOperation(const std::string& operation) {
    OnFlashPhase(0);
    if (IsErase(operation)) {
        const bool isErased = MassErase();
        OnFlashPhase(2);
        // Only reported, on purpose: to the host the operation succeeded.
        if (!isErased) {
            ReportErrorText("Flash Programmer: Error erasing flash.");
        }
    } else if (IsAddressRead(operation)) {
        DoReadMacAddress(operation);
        ShowMacAddress(operation);
    } else if (IsAddressWrite(operation)) {
        ApplyCcfgChanges(operation);
        OnFlashPhase(2);
    } else if (operation == kEraseSectors) {
        EraseSectorRanges(kStandaloneEraseText);
        OnFlashPhase(2);
    } else if (operation == kBlankCheck) {
        BlankCheck();
        OnFlashPhase(2);
    } else {
        throw std::runtime_error("Unsupported Operation Code: '" + operation + "'");
    }
}

}  // namespace flash
