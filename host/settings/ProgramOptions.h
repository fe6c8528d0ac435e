// What a user wants of a program load, checked and in the host's own types.
#pragma once

#include <cstdint>
#include <optional>

#include "host/ccfg/ClosingChanges.h"
#include "host/devices/SectorSet.h"
#include "host/settings/EraseSetting.h"

namespace flash::host {

enum class Verification { Crc, ReadBack, None };

// `Changed`: sectors that already hold what the load would leave there are not touched.
enum class WriteChoice { Changed, All };

struct ProgramOptions {
    EraseChoice erase = EraseChoice::Necessary;
    SectorSet erasedSectors;                  // with `Listed`
    std::optional<bool> keepCcfg;             // the chip's; missing: unless the load brings one
    SectorSet skippedSectors;                 // neither written nor erased
    std::optional<std::uint8_t> skippedFill;  // sectors of only this byte are not written
    Verification verification = Verification::Crc;
    WriteChoice write = WriteChoice::Changed;
    ClosingChanges closing;
};

}  // namespace flash::host
