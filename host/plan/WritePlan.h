// What a program load does to each sector, decided before anything is touched: whole sectors, merged, ascending, never
// across a skipped page, so that no two writes share a sector and none of the plug-in's edges is met.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "host/files/ProgramImage.h"
#include "host/plan/PageSet.h"

namespace flash::host {

struct FlashGeometry {
    std::uint32_t sectorSizeBytes;
    std::uint32_t sectorCount;

    std::uint32_t SizeBytes() const { return sectorSizeBytes * sectorCount; }
    std::uint32_t LastSectorAddress() const { return SizeBytes() - sectorSizeBytes; }
    bool operator==(const FlashGeometry&) const = default;
};

enum class EraseChoice { Necessary, Retain, All, Listed, None };

struct PlanRequest {
    FlashGeometry geometry;
    EraseChoice erase = EraseChoice::Necessary;
    PageSet erasedPages;                           // with `Listed`
    PageSet skippedPages;                          // never written, never erased
    std::optional<std::uint8_t> skippedFill;       // sectors of only this byte are not written
    std::optional<std::uint32_t> keptCcfgAddress;  // from here to the end of flash the chip's bytes stay
};

struct SectorPlan {
    bool isErased = false;
    bool isWritten = false;
    bool keepsRest = false;  // what the file does not have keeps what the chip holds
    bool isSkippedPage = false;
    bool isSkippedFill = false;
    bool isUnchanged = false;  // holds already what the load would leave: neither erased nor written
};

struct WritePlan {
    FlashGeometry geometry{};
    EraseChoice erase = EraseChoice::Necessary;  // as carried out: `All` with skipped pages becomes `Necessary`
    std::vector<SectorPlan> sectors;
    std::vector<DataRun> writes;        // whole sectors
    std::vector<DataRun> expected;      // the file's bytes that must be in flash afterwards
    std::vector<DataRun> alreadyRight;  // likewise, in sectors that are not written because they hold them
    bool keepsCcfg = false;

    std::size_t WrittenBytes() const;
    std::size_t ExpectedBytes() const;
    std::size_t AlreadyRightBytes() const;
    PageSet Pages(bool SectorPlan::*property) const;
};

// `readFlash(address, length)` gives what the chip holds; asked only for sectors of which something is kept.
using ReadFlash = std::function<std::vector<std::uint8_t>(std::uint32_t address, std::uint32_t lengthBytes)>;

// `data` lies inside flash, ascending, without overlaps.
WritePlan MakeWritePlan(const std::vector<DataRun>& data, const PlanRequest& request, const ReadFlash& readFlash);

// One character per sector with a legend: '#' erased and written, '+' written with the rest kept, 'w' written without
// erasing, 'e' only erased, 's' skipped, '=' already right,
// '.' untouched.
std::string DrawFlashMap(const WritePlan& plan);

}  // namespace flash::host
