// A catalogue of what a host does with a chip: loads by each erase setting, changes of CCFG, erases. Small chips of
// four sectors and small images, so that something can go wrong at every single flash operation.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <ostream>
#include <string>
#include <vector>

#include "tests/system/integration/ChipOnBench.h"

namespace flash::test {

inline constexpr std::uint32_t kJobSectors = 4;
inline constexpr std::uint32_t kLastSector = kJobSectors - 1;

struct ByteRange {
    std::uint32_t start;
    std::uint32_t length;
};

struct Job {
    std::string name;
    std::size_t number = 0;  // its place in the catalogue
    const ChipModel* model = nullptr;
    chip::ControllerKind controller = {};
    bool isFull = false;                          // a sector of data, and so thousands of operations
    std::map<std::string, std::string> settings;  // added to the usual ones
    std::vector<Segment> segments;                // of a load
    std::string operation;                        // instead of a load
    Bytes initialFlash;                           // an old program in every sector, and CCFG

    std::vector<ByteRange> mayTouch;       // all that the request may change; everything else is another's
    std::vector<ByteRange> asked;          // what the user wants to find afterwards
    std::vector<ByteRange> withoutCrc;     // the part of it that the check on the target does not cover
    std::vector<std::uint32_t> hostKeeps;  // sectors with more in them than the request brings: the host has a copy

    std::uint32_t SectorBytes() const { return model->reference.sectorSize; }
    std::uint32_t FlashBytes() const { return kJobSectors * SectorBytes(); }
    ByteRange Sector(std::uint32_t sector) const { return {sector * SectorBytes(), SectorBytes()}; }
    bool IsCheckedOnTarget() const { return settings.contains("CrcVerify"); }
};

// GoogleTest prints parameters by this.
void PrintTo(const Job& job, std::ostream* out);

// Each erase setting, kept CCFG and each change of CCFG, with and without the check on the target; each erase
// operation.
const std::vector<Job>& SmallJobs();

// Those, and whole sectors of data.
const std::vector<Job>& AllJobs();

// `flash`, in which these ranges are as in `other`.
Bytes WithRanges(Bytes flash, const Bytes& other, const std::vector<ByteRange>& ranges);

}  // namespace flash::test
