// Which sectors a load need not touch because they already hold what it would leave there.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "host/devices/SectorSet.h"
#include "host/files/ProgramImage.h"
#include "host/plan/WritePlan.h"

namespace flash::host {

// What one sector holds, or some of it.
struct SectorContent {
    std::uint32_t sector;
    DataRun content;
};

std::vector<SectorContent> CutAtSectors(const std::vector<DataRun>& runs, std::uint32_t sectorSize);

// What every sector that the plan touches holds after the load, ascending: all of it, or up to where the chip keeps its
// own CCFG. Not for a plan that erases all of flash.
std::vector<SectorContent> ContentsAfter(const WritePlan& plan, const std::optional<std::uint32_t>& keptCcfgAddress);

// The plan without these sectors: they are neither erased nor written. Sectors of a list are erased with the first
// write, so while one is left that is only erased, a write is left, too.
WritePlan LeaveOut(WritePlan plan, const SectorSet& unchanged);

}  // namespace flash::host
