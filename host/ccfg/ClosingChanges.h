// What is changed in the customer configuration area when a load ends, or by itself.
#pragma once

#include <optional>

#include "host/ccfg/RadioAddress.h"
#include "host/devices/SectorSet.h"

namespace flash::host {

struct ClosingChanges {
    bool retainBle = false;  // the secondary address that the chip has
    bool retainIeee = false;
    std::optional<RadioAddress> ble;  // new secondary addresses
    std::optional<RadioAddress> ieee;
    std::optional<SectorSet> protect;  // besides what is protected already
    bool disableBootloader = false;
    bool disableDebug = false;

    bool IsAny() const {
        return retainBle || retainIeee || ble || ieee || protect || disableBootloader || disableDebug;
    }
};

}  // namespace flash::host
