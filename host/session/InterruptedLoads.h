// Notes of loads that began and have not ended well, so that the next load of that chip believes nothing about the
// sectors that they were to touch: flash that lost power while it was erased or programmed may read right today and
// wrong tomorrow. One small file for each load, named by an address that only the chip has. While its load runs the
// file is locked: another run leaves it alone, and if the load is killed it is there.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "host/devices/SectorSet.h"

namespace flash::host {

class InterruptedLoads {
public:
    // An empty folder keeps no notes. It is made when it is needed.
    explicit InterruptedLoads(std::filesystem::path notesFolder) : folder(std::move(notesFolder)) {}
    ~InterruptedLoads() { Release(); }
    InterruptedLoads(const InterruptedLoads&) = delete;
    InterruptedLoads& operator=(const InterruptedLoads&) = delete;

    bool AreKept() const { return !folder.empty(); }

    // All sectors when there is a note that cannot be read.
    SectorSet Sectors(const std::string& chip, std::uint32_t sectorCount) const;

    // Before the first of these sectors is touched. Takes over the notes of loads that have failed. Throws Failure when
    // it cannot be kept.
    void Begin(const std::string& chip, const SectorSet& touched);

    // All of these sectors are right again. Throws Failure when notes cannot be removed.
    void Finish(const SectorSet& touched);

private:
    std::vector<std::filesystem::path> NotesOf(const std::string& chip) const;
    void Keep(const std::string& chip, const SectorSet& sectors);
    void Release();

    std::filesystem::path folder;
    std::filesystem::path own;  // the note of the load that runs; empty for none
    int ownFile = -1;           // open and locked
    SectorSet noted;            // in it
    std::vector<std::filesystem::path> takenOver;
};

}  // namespace flash::host
