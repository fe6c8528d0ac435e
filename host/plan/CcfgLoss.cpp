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

}  // namespace flash::host
