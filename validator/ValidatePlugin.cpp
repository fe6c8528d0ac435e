#include "validator/ValidatePlugin.h"

#include <algorithm>
#include <filesystem>
#include <stdexcept>

namespace flash::validator {
namespace {

// The first process only loads the module: when that fails, no check can say anything.
const Check kLoads = {"loading", "can-be-loaded", "The module can be loaded and has a factory.",
                      [](const ModuleUnderCheck&) {}};

std::vector<Check> Selected(const std::vector<std::string>& names) {
    if (names.empty()) {
        return AllChecks();
    }
    std::vector<Check> checks;
    for (const std::string& name : names) {
        const auto check = std::find_if(AllChecks().begin(), AllChecks().end(),
                                        [&](const Check& candidate) { return name == candidate.name; });
        if (check == AllChecks().end()) {
            throw std::invalid_argument("no check is named \"" + name + "\"");
        }
        checks.push_back(*check);
    }
    return checks;
}

// A bare file name would be looked for among the system's libraries.
std::string AsPath(const std::string& path) { return path.empty() ? path : std::filesystem::absolute(path).string(); }

}  // namespace

std::size_t ValidationReport::PassedCount() const {
    return static_cast<std::size_t>(std::count_if(
        results.begin(), results.end(), [](const CheckResult& result) { return result.outcome == Outcome::Passed; }));
}

ValidationReport ValidatePlugin(const ValidatePluginOptions& options, const CheckListener& listener,
                                const std::atomic<bool>& isInterrupted) {
    const std::vector<Check> checks = Selected(options.checkNames);
    const std::string path = AsPath(options.modulePath);
    ValidationReport report;
    std::optional<CheckResult> result = RunCheck(kLoads, path, options.limits, isInterrupted);
    if (result && result->outcome != Outcome::Passed) {
        report.loadError = result->found;
        return report;
    }
    for (auto check = checks.begin(); result && check != checks.end(); ++check) {
        result = RunCheck(*check, path, options.limits, isInterrupted);
        if (result) {
            listener(*result);
            report.results.push_back(*result);
        }
    }
    report.wasInterrupted = !result.has_value();
    return report;
}

}  // namespace flash::validator
