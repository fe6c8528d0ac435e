// The chip is known by its primary IEEE address.
#include "apps/lumoflash/ChipIdentity.h"

#include <fmt/format.h>

#include <algorithm>

#include "host/Failure.h"

namespace flash::app {

void IdentifyChip(const Options& options, host::Session& session, View& view) {
    if (!options.isJson && options.onlyChips.empty()) {
        return;
    }
    const host::RadioAddress identity = session.PrimaryAddress(host::AddressKind::PrimaryIeee);
    if (options.isJson) {
        view.ShowAddress(host::AddressKind::PrimaryIeee, identity.Text());
    }
    if (!options.onlyChips.empty() && std::ranges::find(options.onlyChips, identity) == options.onlyChips.end()) {
        const std::size_t others = options.onlyChips.size() - 1;
        throw host::Failure(host::FailureKind::Unreachable,
                            fmt::format("This is the chip {}, not {}{}; nothing was touched", identity.Text(),
                                        options.onlyChips.front().Text(),
                                        others == 0 ? "" : fmt::format(" or one of {} others", others)));
    }
}

}  // namespace flash::app
