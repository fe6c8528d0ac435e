// Sets of sectors by their members.
#pragma once

#include <initializer_list>

#include "host/devices/SectorSet.h"

namespace flash::host {

inline SectorSet SectorsOf(std::initializer_list<std::uint32_t> members, std::uint32_t sectorCount = 16) {
    SectorSet sectors(sectorCount);
    for (const std::uint32_t member : members) {
        sectors.Add(member);
    }
    return sectors;
}

}  // namespace flash::host
