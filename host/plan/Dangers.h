// What a load or a change of CCFG does that cannot be taken back, in words for the user to agree to.
#pragma once

#include <string>
#include <vector>

#include "host/devices/DeviceDescription.h"
#include "host/devices/SectorSet.h"
#include "host/files/ProgramImage.h"

namespace flash::host {

struct DangerousChanges {
    bool disableDebug = false;
    SectorSet protectedSectors;           // empty when none are asked for
    std::vector<DataRun> programmedData;  // what a file brings, as it will be in flash; empty without a file
};

std::vector<std::string> FindDangers(const DangerousChanges& changes, const DeviceDescription& device,
                                     std::uint32_t flashSizeBytes);

}  // namespace flash::host
