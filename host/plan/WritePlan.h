// What a program load does to each sector, decided before anything is touched: whole sectors, merged, ascending, never
// across a skipped sector, so that no two writes share a sector and none of the plug-in's edges is met.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "host/devices/FlashGeometry.h"
#include "host/devices/SectorSet.h"
#include "host/files/ProgramImage.h"
#include "host/settings/EraseSetting.h"

namespace flash::host {

struct PlanRequest {
    FlashGeometry geometry;
    EraseChoice erase = EraseChoice::Necessary;
    SectorSet erasedSectors;                       // with `Listed`
    SectorSet skippedSectors;                      // never written, never erased
    std::optional<std::uint8_t> skippedFill;       // sectors of only this byte are not written
    std::optional<std::uint32_t> keptCcfgAddress;  // from here to the end of flash the chip's bytes stay
};

struct SectorPlan {
    bool isErased = false;
    bool isWritten = false;
    bool keepsRest = false;  // what the file does not have keeps what the chip holds
    bool isSkipped = false;
    bool isOnlyFill = false;
    bool isUnchanged = false;     // holds already what the load would leave: neither erased nor written
    bool isDoubtful = false;      // a load that did not end well touched it: written, whatever it seems to hold
    bool carriesErasing = false;  // already right, but written because others are only erased with a write
};

struct WritePlan {
    FlashGeometry geometry{};
    EraseChoice erase = EraseChoice::Necessary;  // as carried out: `All` with skipped sectors becomes `Necessary`
    std::vector<SectorPlan> sectors;
    std::vector<DataRun> writes;        // whole sectors
    std::vector<DataRun> expected;      // the file's bytes that must be in flash afterwards
    std::vector<DataRun> alreadyRight;  // likewise, in sectors that are not written because they hold them
    bool keepsCcfg = false;             // the chip's own
    bool replacesCcfg = false;          // by the load's, or by nothing
    bool isCompared = false;            // with what the chip holds

    std::size_t WrittenBytes() const;
    std::size_t ExpectedBytes() const;
    std::size_t AlreadyRightBytes() const;
    SectorSet Sectors(bool SectorPlan::*property) const;
};

// `readFlash(address, length)` gives what the chip holds; asked only for sectors of which something is kept.
using ReadFlash = std::function<std::vector<std::uint8_t>(std::uint32_t address, std::uint32_t lengthBytes)>;

// `data` lies inside flash, ascending, without overlaps.
WritePlan MakeWritePlan(const std::vector<DataRun>& data, const PlanRequest& request, const ReadFlash& readFlash);

// Why the load does what it does to a sector: "differs", "already right", …
std::string_view ReasonFor(const WritePlan& plan, std::uint32_t sector);

// Every sector under its reason, the reasons in the order of their first sectors.
std::vector<std::pair<std::string_view, SectorSet>> SectorsByReason(const WritePlan& plan);

// What the load does to a sector, in one word.
enum class SectorFate { Untouched, AlreadyRight, Written, ErasedAndWritten, WrittenWithRestKept, Erased, Skipped };

SectorFate FateOf(const SectorPlan& sector);

// As the map shows it.
char MapCharacter(SectorFate fate);

// One character per sector with a legend: '#' erased and written, '+' written with the rest kept, 'w' written without
// erasing, 'e' only erased, 's' skipped, '=' already right,
// '.' untouched.
std::string DrawFlashMap(const WritePlan& plan);

}  // namespace flash::host
