// What a load or a change of CCFG does that cannot be taken back, in words for the user to agree to.
#pragma once

#include <string>
#include <vector>

#include "host/ccfg/Ccfg.h"
#include "host/ccfg/ClosingChanges.h"
#include "host/files/ProgramImage.h"

namespace flash::host {

// `programmedData` is what a file brings, as it will be in flash; empty without a file.
std::vector<std::string> FindDangers(const ClosingChanges& changes, const std::vector<DataRun>& programmedData,
                                     const CcfgLayout& layout);

}  // namespace flash::host
