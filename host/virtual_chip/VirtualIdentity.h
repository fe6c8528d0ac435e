// Who a virtual chip is: the addresses that a factory writes into a chip.
#pragma once

#include "chip/ChipSettings.h"
#include "host/ccfg/RadioAddress.h"

namespace flash::host {

// Eight bytes drawn at random, locally administered, so that they are nobody's and no two chips share them.
RadioAddress DrawIdentity();

// A chip of this primary IEEE address. Its primary BLE address follows: the first byte with both upper bits set, as in
// every static one, then the last five.
void SetIdentity(chip::Settings& settings, const RadioAddress& primaryIeee);

RadioAddress IdentityOf(const chip::Settings& settings);

}  // namespace flash::host
