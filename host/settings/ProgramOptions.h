// What a user wants of a program load, checked and in the host's own types.
#pragma once

#include <cstdint>
#include <optional>

#include "host/ccfg/ClosingChanges.h"
#include "host/devices/SectorSet.h"
#include "host/settings/EraseSetting.h"

namespace flash::host {

enum class Verification { Crc, ReadBack, None };

struct ProgramOptions {
    EraseChoice erase = EraseChoice::Necessary;
    SectorSet erasedSectors;  // with `Listed`
    bool keepCcfg = false;
    SectorSet skippedSectors;                 // neither written nor erased
    std::optional<std::uint8_t> skippedFill;  // sectors of only this byte are not written
    Verification verification = Verification::Crc;
    ClosingChanges closing;
};

}  // namespace flash::host
