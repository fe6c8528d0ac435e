// Sectors that hold only the user's fill value.
#include "flashdevice/device/FlashDeviceLumo.h"
#include "flashdevice/programming/FillValue.h"

namespace flash {

bool FlashDeviceLumo::FillSkipActive() {
    if (!IsOptionOn("FlashPagesFilledWith")) {
        return false;
    }
    fillValue = ParseFillValue(ReadProperty("FlashPagesFilledWithValue"));
    return true;
}

}  // namespace flash
