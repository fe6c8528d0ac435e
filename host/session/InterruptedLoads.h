// Notes of loads that began and have not ended well, so that the next load of that chip believes nothing about the
// sectors that they were to touch: flash that lost power while it was erased or programmed may read right today and
// wrong tomorrow. One small file for each chip, named by an address that only it has.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>

#include "host/devices/SectorSet.h"

namespace flash::host {

class InterruptedLoads {
public:
    // An empty folder keeps no notes. It is made when it is needed.
    explicit InterruptedLoads(std::filesystem::path notesFolder) : folder(std::move(notesFolder)) {}

    bool AreKept() const { return !folder.empty(); }

    // All sectors when there is a note that cannot be read.
    SectorSet Sectors(const std::string& chip, std::uint32_t sectorCount) const;

    // Before the first of these sectors is touched; adds to an earlier note. Throws Failure when it cannot be kept.
    void Begin(const std::string& chip, const SectorSet& touched) const;

    // All of these sectors are right again.
    void Finish(const std::string& chip, const SectorSet& touched) const;

private:
    std::filesystem::path FileOf(const std::string& chip) const;
    void Keep(const std::string& chip, const SectorSet& sectors) const;

    std::filesystem::path folder;
};

}  // namespace flash::host
