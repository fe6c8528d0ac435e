// The validator's report as the outcome of a command.
#include "apps/lumoflash/Validation.h"

#include <fmt/format.h>

#include <algorithm>
#include <stdexcept>

#include "host/Failure.h"
#include "host/Words.h"

namespace flash::app {
namespace {

using host::Failure;
using host::FailureKind;

validator::ValidationReport RunChecks(const validator::ValidatePluginOptions& options, View& view,
                                      const std::atomic<bool>& isInterrupted) {
    const auto show = [&](const validator::CheckResult& result) { view.ShowCheck(result); };
    try {
        return validator::ValidatePlugin(options, show, isInterrupted);
    } catch (const std::invalid_argument& error) {
        throw Failure(FailureKind::BadInput, error.what());
    }
}

Outcome ValidatePlugin(const validator::ValidatePluginOptions& options, View& view,
                       const std::atomic<bool>& isInterrupted) {
    const validator::ValidationReport report = RunChecks(options, view, isInterrupted);
    if (report.wasInterrupted) {
        throw Failure(FailureKind::Interrupted, "Interrupted");
    }
    if (!report.loadError.empty()) {
        throw Failure(FailureKind::Unreachable,
                      fmt::format("{} cannot be loaded: {}", options.modulePath, report.loadError));
    }
    const std::string verdict = report.Verdict();
    if (report.BrokenCount() != 0) {
        throw Failure(FailureKind::Operation, verdict);
    }
    return {0, verdict, 0, {}};
}

Outcome ListChecks(View& view) {
    const std::vector<validator::Check>& checks = validator::AllChecks();
    std::for_each(checks.begin(), checks.end(), [&](const auto& check) { view.ListCheck(check); });
    return {0, host::Counted(checks.size(), "check"), 0, {}};
}

}  // namespace

Outcome Validate(const validator::ValidatePluginOptions& options, View& view, const std::atomic<bool>& isInterrupted) {
    return options.isListing ? ListChecks(view) : ValidatePlugin(options, view, isInterrupted);
}

}  // namespace flash::app
