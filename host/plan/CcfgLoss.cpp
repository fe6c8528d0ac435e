// The chip's own CCFG lies at the end of flash, so that the end of the image tells whether it brings one.
#include "host/plan/CcfgLoss.h"

namespace flash::host {
namespace {

std::uint64_t EndOf(const ProgramImage& image) {
    if (image.IsEmpty()) {
        return 0;
    }
    const auto& [address, segment] = *image.Segments().rbegin();
    return std::uint64_t{address} + segment.bytes.size();
}

bool ErasesLastSector(const ProgramOptions& options, std::uint64_t endOfData, const FlashGeometry& geometry) {
    const std::uint32_t last = geometry.sectorCount - 1;
    const bool hasData = endOfData > geometry.LastSectorAddress() && !options.skippedSectors.Contains(last);
    switch (options.erase) {
        case EraseChoice::Necessary:
            return hasData;
        case EraseChoice::All:  // with skipped pages it becomes `Necessary`
            return hasData || options.skippedSectors.IsEmpty();
        case EraseChoice::Listed:
            return options.erasedSectors.Contains(last);
        default:
            return false;
    }
}

// What the load leaves in the last sector before its closing phase.
LastSector LastSectorAfter(const WritePlan& plan, const LastSector& before) {
    const SectorPlan& last = plan.sectors.back();
    if (plan.keepsCcfg || (!last.isErased && !last.isWritten)) {
        return before;
    }
    const std::uint32_t size = plan.geometry.sectorSizeBytes;
    if (!last.isWritten) {
        return {before.sizeRegister, std::vector<std::uint8_t>(size, kErasedByte)};
    }
    const std::vector<std::uint8_t>& bytes = plan.writes.back().bytes;
    return {before.sizeRegister, {bytes.end() - static_cast<std::ptrdiff_t>(size), bytes.end()}};
}

}  // namespace

bool WouldLoseCcfg(const ProgramImage& image, const ProgramOptions& options, const CcfgInfo& ccfg,
                   const FlashGeometry& geometry) {
    const std::uint64_t end = EndOf(image);
    return ccfg.sizeBytes != 0 && end <= ccfg.address && ErasesLastSector(options, end, geometry);
}

bool ReplacesCcfg(const WritePlan& plan, const ProgramImage& image, const CcfgInfo& ccfg) {
    const SectorPlan& last = plan.sectors.back();
    return ccfg.sizeBytes != 0 && !plan.keepsCcfg && (last.isErased || (last.isWritten && EndOf(image) > ccfg.address));
}

SectorSet ProtectedAfter(const WritePlan& plan, const ClosingChanges& closing, const LastSector& before,
                         const CcfgLayout& layout) {
    SectorSet after = DecodeCcfg(LastSectorAfter(plan, before), layout).protectedSectors;
    if (closing.protect) {
        after.Add(*closing.protect);
    }
    return after;
}

}  // namespace flash::host
