// Making the write plan: data is laid into whole sectors, each sector gets its fate, neighbours are merged.
#include "host/plan/WritePlan.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <map>
#include <numeric>

namespace flash::host {
namespace {

constexpr std::uint32_t kSectorsPerMapRow = 32;

struct SectorImage {
    std::vector<std::uint8_t> bytes;
    std::vector<bool> isData;
};

class Planner {
public:
    Planner(const PlanRequest& planRequest, const ReadFlash& flashReader)
        : request(planRequest), readFlash(flashReader) {
        plan.geometry = request.geometry;
        plan.erase = request.erase == EraseChoice::All && !request.skippedSectors.IsEmpty() ? EraseChoice::Necessary
                                                                                            : request.erase;
        plan.sectors.resize(request.geometry.sectorCount);
        plan.keepsCcfg = request.keptCcfgAddress.has_value();
    }

    WritePlan Make(const std::vector<DataRun>& data) {
        std::for_each(data.begin(), data.end(), [this](const DataRun& run) { LayOut(run); });
        TouchLastSectorIfItWouldLoseCcfg();
        DecideErasing();
        for (auto& [index, image] : images) {
            DecideWriting(index, image);
        }
        std::for_each(data.begin(), data.end(), [this](const DataRun& run) { Expect(run); });
        return std::move(plan);
    }

private:
    std::uint32_t SectorSize() const { return request.geometry.sectorSizeBytes; }

    SectorImage& ImageOf(std::uint32_t index) {
        return images
            .try_emplace(index, SectorImage{std::vector<std::uint8_t>(SectorSize(), kErasedByte),
                                            std::vector<bool>(SectorSize(), false)})
            .first->second;
    }

    void LayOut(const DataRun& run) {
        for (std::size_t i = 0; i < run.bytes.size(); ++i) {
            const auto address = run.address + static_cast<std::uint32_t>(i);
            SectorImage& image = ImageOf(address / SectorSize());
            image.bytes[address % SectorSize()] = run.bytes[i];
            image.isData[address % SectorSize()] = true;
        }
    }

    // The plug-in puts a kept CCFG back only after a write that reaches it. A list of sectors to erase that names the
    // last sector would lose it when no data goes there, so the sector is written too.
    void TouchLastSectorIfItWouldLoseCcfg() {
        const std::uint32_t last = request.geometry.sectorCount - 1;
        if (plan.keepsCcfg && plan.erase == EraseChoice::Listed && request.erasedSectors.Contains(last)) {
            ImageOf(last);
        }
    }

    void DecideErasing() {
        for (std::uint32_t index = 0; index < request.geometry.sectorCount; ++index) {
            SectorPlan& sector = plan.sectors[index];
            sector.isSkipped = request.skippedSectors.Contains(index);
            sector.isErased = plan.erase == EraseChoice::All ||
                              (plan.erase == EraseChoice::Listed && request.erasedSectors.Contains(index));
        }
    }

    void DecideWriting(std::uint32_t index, SectorImage& image) {
        SectorPlan& sector = plan.sectors[index];
        if (sector.isSkipped) {
            return;
        }
        const bool isKept = !sector.isErased && plan.erase != EraseChoice::Necessary;
        sector.keepsRest = isKept && std::find(image.isData.begin(), image.isData.end(), false) != image.isData.end();
        if (sector.keepsRest) {
            FillGapsFromChip(index, image);
        }
        const auto isFill = [this](std::uint8_t byte) { return byte == request.skippedFill; };
        if (request.skippedFill && std::all_of(image.bytes.begin(), image.bytes.end(), isFill)) {
            sector.isOnlyFill = true;
            return;
        }
        sector.isWritten = true;
        sector.isErased |= plan.erase == EraseChoice::Necessary;
        Append(index * SectorSize(), image.bytes);
    }

    void FillGapsFromChip(std::uint32_t index, SectorImage& image) const {
        const std::vector<std::uint8_t> present = readFlash(index * SectorSize(), SectorSize());
        for (std::size_t i = 0; i < image.bytes.size(); ++i) {
            image.bytes[i] = image.isData[i] ? image.bytes[i] : present.at(i);
        }
    }

    void Append(std::uint32_t address, const std::vector<std::uint8_t>& bytes) {
        if (!plan.writes.empty() && plan.writes.back().address + plan.writes.back().bytes.size() == address) {
            plan.writes.back().bytes.insert(plan.writes.back().bytes.end(), bytes.begin(), bytes.end());
        } else {
            plan.writes.push_back(DataRun{address, bytes});
        }
    }

    // The part of the run that is written and not kept, cut at sectors.
    void Expect(const DataRun& run) {
        const std::uint32_t end = run.address + static_cast<std::uint32_t>(run.bytes.size());
        const std::uint32_t dataEnd = std::min(end, request.keptCcfgAddress.value_or(end));
        for (std::uint32_t address = run.address; address < dataEnd;) {
            const std::uint32_t index = address / SectorSize();
            const std::uint32_t pieceEnd = std::min(dataEnd, (index + 1) * SectorSize());
            if (plan.sectors[index].isWritten) {
                ExpectPiece(address, std::span(run.bytes).subspan(address - run.address, pieceEnd - address));
            }
            address = pieceEnd;
        }
    }

    void ExpectPiece(std::uint32_t address, std::span<const std::uint8_t> bytes) {
        std::vector<DataRun>& expected = plan.expected;
        if (expected.empty() || expected.back().address + expected.back().bytes.size() != address) {
            expected.push_back(DataRun{address, {}});
        }
        expected.back().bytes.insert(expected.back().bytes.end(), bytes.begin(), bytes.end());
    }

    const PlanRequest& request;
    const ReadFlash& readFlash;
    std::map<std::uint32_t, SectorImage> images;
    WritePlan plan;
};

std::size_t ByteCount(const std::vector<DataRun>& runs) {
    return std::accumulate(runs.begin(), runs.end(), std::size_t{0},
                           [](std::size_t sum, const DataRun& run) { return sum + run.bytes.size(); });
}

}  // namespace

std::size_t WritePlan::WrittenBytes() const { return ByteCount(writes); }

std::size_t WritePlan::ExpectedBytes() const { return ByteCount(expected); }

std::size_t WritePlan::AlreadyRightBytes() const { return ByteCount(alreadyRight); }

SectorSet WritePlan::Sectors(bool SectorPlan::*property) const {
    SectorSet having(geometry.sectorCount);
    for (std::uint32_t index = 0; index < geometry.sectorCount; ++index) {
        if (sectors[index].*property) {
            having.Add(index);
        }
    }
    return having;
}

WritePlan MakeWritePlan(const std::vector<DataRun>& data, const PlanRequest& request, const ReadFlash& readFlash) {
    return Planner(request, readFlash).Make(data);
}

std::string_view ReasonFor(const WritePlan& plan, std::uint32_t sector) {
    const SectorPlan& fate = plan.sectors[sector];
    if (fate.isUnchanged) {
        return "already right";
    }
    if (!fate.isWritten && !fate.isErased) {
        return fate.isSkipped ? "skipped" : fate.isOnlyFill ? "only fill" : "not in the file";
    }
    if (!plan.isCompared) {
        return fate.isWritten ? "all is written" : "to be erased";
    }
    return fate.isDoubtful       ? "touched by a load that did not end well"
           : fate.carriesErasing ? "written so that others are erased"
                                 : "differs";
}

std::vector<std::pair<std::string_view, SectorSet>> SectorsByReason(const WritePlan& plan) {
    std::vector<std::pair<std::string_view, SectorSet>> groups;
    for (std::uint32_t sector = 0; sector < plan.geometry.sectorCount; ++sector) {
        const std::string_view reason = ReasonFor(plan, sector);
        const auto isItsGroup = [reason](const auto& group) { return group.first == reason; };
        auto group = std::find_if(groups.begin(), groups.end(), isItsGroup);
        if (group == groups.end()) {
            group = groups.insert(group, {reason, SectorSet(plan.geometry.sectorCount)});
        }
        group->second.Add(sector);
    }
    return groups;
}

SectorFate FateOf(const SectorPlan& sector) {
    if (sector.isSkipped || sector.isOnlyFill) {
        return sector.isErased ? SectorFate::Erased : SectorFate::Skipped;
    }
    if (sector.isUnchanged) {
        return SectorFate::AlreadyRight;
    }
    if (sector.isWritten) {
        return sector.isErased    ? SectorFate::ErasedAndWritten
               : sector.keepsRest ? SectorFate::WrittenWithRestKept
                                  : SectorFate::Written;
    }
    return sector.isErased ? SectorFate::Erased : SectorFate::Untouched;
}

char MapCharacter(SectorFate fate) {
    constexpr std::string_view kCharacters = ".=w#+es";  // in the order of the fates
    return kCharacters[static_cast<std::size_t>(fate)];
}

std::string DrawFlashMap(const WritePlan& plan) {
    std::string map;
    for (std::uint32_t first = 0; first < plan.geometry.sectorCount; first += kSectorsPerMapRow) {
        const std::uint32_t end = std::min(plan.geometry.sectorCount, first + kSectorsPerMapRow);
        map += fmt::format("0x{:08X} |", first * plan.geometry.sectorSizeBytes);
        for (std::uint32_t index = first; index < end; ++index) {
            map += MapCharacter(FateOf(plan.sectors[index]));
        }
        map += fmt::format("| 0x{:08X}\n", end * plan.geometry.sectorSizeBytes - 1);
    }
    return map + "# erased and written, + written with the rest kept, w written, e erased, s skipped, . untouched" +
           (plan.Sectors(&SectorPlan::isUnchanged).IsEmpty() ? "" : ", = already right") + "\n";
}

}  // namespace flash::host
