// Pages that hold only the user's fill value, and the question whether the plug-in looks at the data at all.
#include "flashdevice/device/FlashDeviceLumo.h"
#include "flashdevice/programming/FillValue.h"
#include "flashdevice/programming/ProgramOptions.h"

namespace flash {

bool FlashDeviceLumo::FillSkipActive() {
    if (!ReadBoolOption("FlashPagesFilledWith")) {
        return false;
    }
    fillValue = ParseFillValue(ReadProperty("FlashPagesFilledWithValue"));
    return true;
}

bool FlashDeviceLumo::HandlesVerification() {
    return KeepCcfgActive() || PageSkipActive() || FillSkipActive() || ReadBoolOption(kCrcVerify);
}

}  // namespace flash
