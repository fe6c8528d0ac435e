// The rows of the table of addresses.
#pragma once

#include "host/line/PoolAddress.h"

namespace flash::host::line {

inline constexpr const char* kSelectAddress =
    "SELECT kind, address, state, chip, station, time, note FROM pool_address";

// Of a row that was selected so.
PoolAddress AddressOfRow(const Row& row);

}  // namespace flash::host::line
