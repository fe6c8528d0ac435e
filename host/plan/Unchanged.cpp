#include "host/plan/Unchanged.h"

#include <algorithm>
#include <cassert>
#include <span>
#include <utility>

namespace flash::host {
namespace {

void Append(std::vector<DataRun>& runs, const DataRun& run) {
    if (!runs.empty() && runs.back().address + runs.back().bytes.size() == run.address) {
        runs.back().bytes.insert(runs.back().bytes.end(), run.bytes.begin(), run.bytes.end());
    } else {
        runs.push_back(run);
    }
}

bool IsOnlyErased(const SectorPlan& sector) { return sector.isErased && !sector.isWritten; }

// The sectors to leave out, but for the write that the erasing of others goes with.
SectorSet WithoutTheWriteThatErases(const WritePlan& plan, const SectorSet& unchanged) {
    SectorSet kept(plan.geometry.sectorCount);
    bool isWriteNeeded = false;
    for (std::uint32_t index = 0; index < plan.geometry.sectorCount; ++index) {
        isWriteNeeded |= IsOnlyErased(plan.sectors[index]) && !unchanged.Contains(index);
    }
    for (std::uint32_t index = 0; index < plan.geometry.sectorCount; ++index) {
        const bool isLeftOut = unchanged.Contains(index);
        isWriteNeeded &= !plan.sectors[index].isWritten || isLeftOut;
    }
    for (std::uint32_t index = 0; index < plan.geometry.sectorCount; ++index) {
        if (isWriteNeeded && plan.sectors[index].isWritten) {
            isWriteNeeded = false;
        } else if (unchanged.Contains(index)) {
            kept.Add(index);
        }
    }
    return kept;
}

}  // namespace

std::vector<SectorContent> CutAtSectors(const std::vector<DataRun>& runs, std::uint32_t sectorSize) {
    std::vector<SectorContent> pieces;
    for (const DataRun& run : runs) {
        const std::span bytes(run.bytes);
        for (std::size_t offset = 0; offset < bytes.size();) {
            const auto address = run.address + static_cast<std::uint32_t>(offset);
            const std::size_t length = std::min<std::size_t>(sectorSize - address % sectorSize, bytes.size() - offset);
            const std::span piece = bytes.subspan(offset, length);
            pieces.push_back({address / sectorSize, {address, {piece.begin(), piece.end()}}});
            offset += length;
        }
    }
    return pieces;
}

std::vector<SectorContent> ContentsAfter(const WritePlan& plan, const std::optional<std::uint32_t>& keptCcfgAddress) {
    assert(plan.erase != EraseChoice::All);
    const std::uint32_t sectorSize = plan.geometry.sectorSizeBytes;
    std::vector<SectorContent> contents = CutAtSectors(plan.writes, sectorSize);
    for (std::uint32_t index = 0; index < plan.geometry.sectorCount; ++index) {
        if (IsOnlyErased(plan.sectors[index])) {
            contents.push_back({index, {index * sectorSize, std::vector<std::uint8_t>(sectorSize, kErasedByte)}});
        }
    }
    std::sort(contents.begin(), contents.end(),
              [](const SectorContent& a, const SectorContent& b) { return a.sector < b.sector; });
    const std::uint32_t last = plan.geometry.sectorCount - 1;
    if (keptCcfgAddress && !contents.empty() && contents.back().sector == last) {
        contents.back().content.bytes.resize(*keptCcfgAddress - plan.geometry.LastSectorAddress());
    }
    return contents;
}

WritePlan LeaveOut(WritePlan plan, const SectorSet& unchanged) {
    const SectorSet leftOut = WithoutTheWriteThatErases(plan, unchanged);
    std::vector<DataRun> writes;
    for (const SectorContent& piece : CutAtSectors(std::exchange(plan.writes, {}), plan.geometry.sectorSizeBytes)) {
        if (!leftOut.Contains(piece.sector)) {
            Append(plan.writes, piece.content);
        }
    }
    for (const SectorContent& piece : CutAtSectors(std::exchange(plan.expected, {}), plan.geometry.sectorSizeBytes)) {
        Append(leftOut.Contains(piece.sector) ? plan.alreadyRight : plan.expected, piece.content);
    }
    for (std::uint32_t index = 0; index < plan.geometry.sectorCount; ++index) {
        SectorPlan& sector = plan.sectors[index];
        sector.carriesErasing = unchanged.Contains(index) && !leftOut.Contains(index);
        if (leftOut.Contains(index)) {
            sector.isUnchanged = true;
            sector.isWritten = false;
            sector.isErased = false;
            sector.keepsRest = false;
        }
    }
    plan.isCompared = true;
    return plan;
}

}  // namespace flash::host
