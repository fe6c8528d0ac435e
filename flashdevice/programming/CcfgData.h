// The customer configuration area (CCFG) as it was before an erase, to be programmed back afterwards.
#pragma once

#include <cstdint>
#include <vector>

namespace flash {

struct CcfgData {
    std::uint32_t address = 0;            // of the first saved byte: flash size - number of saved bytes
    std::uint32_t lastSectorAddress = 0;  // start of the last flash sector
    std::vector<std::uint8_t> data;       // empty: nothing saved
};

}  // namespace flash
