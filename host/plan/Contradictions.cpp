// Finding them, in an order that is the same in every run.
#include "host/plan/Contradictions.h"

#include <fmt/format.h>

#include "host/Failure.h"
#include "host/ccfg/Ccfg.h"

namespace flash::host {
namespace {

[[noreturn]] void Refuse(const std::string& text) { throw Failure(FailureKind::BadInput, text); }

}  // namespace

void RefuseContradictions(const ProgramOptions& options, const FlashGeometry& geometry) {
    for (std::uint32_t sector = 0; sector < geometry.sectorCount; ++sector) {
        if (options.erase == EraseChoice::Listed && options.erasedSectors.Contains(sector) &&
            options.skippedSectors.Contains(sector)) {
            Refuse(fmt::format("Page {} is to be erased and to be skipped", sector));
        }
    }
    if (options.closing.IsAny() && options.skippedSectors.Contains(geometry.sectorCount - 1)) {
        Refuse("CCFG lies in the last page; it cannot be changed while that page is skipped");
    }
    RefuseContradictions(options.closing, geometry);
}

void RefuseContradictions(const ClosingChanges& changes, const FlashGeometry& geometry) {
    if ((changes.retainBle && changes.ble) || (changes.retainIeee && changes.ieee)) {
        Refuse("An address can be retained or replaced, not both");
    }
    for (std::uint32_t sector = kProtectableSectors; changes.protect && sector < geometry.sectorCount; ++sector) {
        if (changes.protect->Contains(sector)) {
            throw BadInput(Field::Protect,
                           fmt::format("page {} shares its protection bit with another; only 0 to {} can be protected",
                                       sector, kProtectableSectors - 1));
        }
    }
}

}  // namespace flash::host
