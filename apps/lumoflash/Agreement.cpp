#include "apps/lumoflash/Agreement.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>

#include "host/Failure.h"

namespace flash::app {

using host::Failure;
using host::FailureKind;

void RequireAgreement(const std::vector<std::string>& dangers, bool isAgreed, View& view,
                      const std::atomic<bool>& isInterrupted) {
    if (dangers.empty()) {
        return;
    }
    if (isAgreed) {
        std::ranges::for_each(dangers, [&view](const std::string& danger) { view.Warning(danger); });
    } else if (!view.Agrees(dangers, isInterrupted)) {
        if (isInterrupted) {
            throw Failure(FailureKind::Interrupted, "Interrupted; nothing was touched");
        }
        throw Failure(FailureKind::BadInput,
                      fmt::format("{}. Nothing was touched; agree with --yes", fmt::join(dangers, ".\n")));
    }
}

}  // namespace flash::app
