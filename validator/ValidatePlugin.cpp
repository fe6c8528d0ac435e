#include "validator/ValidatePlugin.h"

#include <algorithm>
#include <filesystem>
#include <stdexcept>

#include "validator/Expectation.h"

namespace flash::validator {
namespace {

// A bare file name would be looked for among the system's libraries.
std::string AsPath(const std::string& path) { return path.empty() ? path : std::filesystem::absolute(path).string(); }

CheckResult NotReached(const Check& check, const std::string& reason) {
    return {check.topic, check.name, check.demand, Outcome::NotReached, "", reason, 0};
}

std::size_t Count(const std::vector<CheckResult>& results, bool (*matches)(const CheckResult&)) {
    return static_cast<std::size_t>(std::ranges::count_if(results, matches));
}

}  // namespace

std::size_t ValidationReport::PassedCount() const {
    return Count(results, [](const CheckResult& result) { return result.outcome == Outcome::Passed; });
}

std::size_t ValidationReport::BrokenCount() const { return Count(results, IsBroken); }

std::string ValidationReport::Verdict() const {
    const std::size_t left = results.size() - ReachedCount();
    return std::to_string(PassedCount()) + " of " + Counted(ReachedCount(), "check") + " passed" +
           (left == 0 ? "" : "; " + std::to_string(left) + " not reached");
}

std::vector<Check> ChecksFor(const ValidatePluginOptions& options) {
    std::vector<Check> checks;
    for (const std::string& name : options.checkNames) {
        const Check* check = FindCheck(name);
        if (check == nullptr || check == &kCanBeLoaded) {
            throw std::invalid_argument("no check is named \"" + name + "\"");
        }
        checks.push_back(*check);
    }
    if (options.checkNames.empty()) {
        std::ranges::copy_if(AllChecks(), std::back_inserter(checks),
                             [&](const Check& check) { return LevelOf(check) <= options.level; });
    }
    return checks;
}

ValidationReport ValidatePlugin(const ValidatePluginOptions& options, const CheckListener& listener,
                                const std::atomic<bool>& isInterrupted) {
    const std::vector<Check> checks = ChecksFor(options);
    const std::string path = AsPath(options.modulePath);
    ValidationReport report;
    report.modulePath = options.modulePath;
    std::optional<CheckResult> result = RunCheck(kCanBeLoaded, path, options.limits, isInterrupted);
    if (result && IsBroken(*result)) {
        report.loadError = result->found;
    }
    for (const Check& check : checks) {
        const bool isReached = result && report.loadError.empty();
        result = isReached ? RunCheck(check, path, options.limits, isInterrupted) : std::nullopt;
        if (result) {
            listener(*result);
        }
        const char* reason = report.loadError.empty() ? "interrupted" : "the module cannot be loaded";
        report.results.push_back(result ? *result : NotReached(check, reason));
    }
    report.wasInterrupted = report.loadError.empty() && !result;
    return report;
}

}  // namespace flash::validator
