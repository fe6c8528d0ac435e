#include "host/validator/ValidatePlugin.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <ostream>
#include <stdexcept>

namespace flash::host {
namespace {

using validator::AllChecks;
using validator::Check;
using validator::CheckResult;
using validator::Outcome;

constexpr int kExitPassed = 0;
constexpr int kExitFailed = 1;
constexpr int kExitNotLoaded = 4;

// The first process only loads the module: when that fails, no check can say anything.
const Check kLoads = {"loading", "can-be-loaded", "The module can be loaded and has a factory.",
                      [](const validator::ModuleUnderCheck&) {}};

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

std::string JsonText(const std::string& text) {
    std::string result = "\"";
    for (const char character : text) {
        char escaped[8];
        if (character == '"' || character == '\\') {
            result += '\\';
            result += character;
        } else if (static_cast<unsigned char>(character) < 0x20) {
            std::snprintf(escaped, sizeof escaped, "\\u%04x", static_cast<unsigned>(character));
            result += escaped;
        } else {
            result += character;
        }
    }
    return result + "\"";
}

// The members that a check has before it has run.
std::string JsonStart(const char* topic, const char* name, const char* demand) {
    return "{\"event\": \"check\", \"topic\": " + JsonText(topic) + ", \"name\": " + JsonText(name) +
           ", \"demand\": " + JsonText(demand);
}

void PrintJson(const ValidationReport& report, std::ostream& output) {
    for (const CheckResult& result : report.results) {
        output << JsonStart(result.topic, result.name, result.demand)
               << ", \"outcome\": " << JsonText(NameOf(result.outcome));
        if (result.outcome != Outcome::Passed) {
            output << ", \"expected\": " << JsonText(result.expected) << ", \"found\": " << JsonText(result.found);
        }
        output << "}\n";
    }
}

void PrintText(const ValidationReport& report, std::ostream& output) {
    std::string topic;
    for (const CheckResult& result : report.results) {
        if (topic != result.topic) {
            topic = result.topic;
            output << topic << "\n";
        }
        output << "  " << NameOf(result.outcome) << "  " << result.name << ": " << result.demand << "\n";
        if (result.outcome != Outcome::Passed) {
            output << "      expected: " << result.expected << "\n      found:    " << result.found << "\n";
        }
    }
}

ValidationVerdict PrintList(bool isJson, std::ostream& output) {
    for (const Check& check : AllChecks()) {
        if (isJson) {
            output << JsonStart(check.topic, check.name, check.demand) << "}\n";
        } else {
            output << check.name << " (" << check.topic << "): " << check.demand << "\n";
        }
    }
    return {kExitPassed, std::to_string(AllChecks().size()) + " checks"};
}

std::size_t CountPassed(const ValidationReport& report) {
    return static_cast<std::size_t>(
        std::count_if(report.results.begin(), report.results.end(),
                      [](const CheckResult& result) { return result.outcome == Outcome::Passed; }));
}

// A bare file name would be looked for among the system's libraries.
std::string AsPath(const std::string& path) { return path.empty() ? path : std::filesystem::absolute(path).string(); }

}  // namespace

bool ValidationReport::HasPassed() const { return loadError.empty() && CountPassed(*this) == results.size(); }

ValidationReport ValidatePlugin(const ValidatePluginOptions& options) {
    const std::vector<Check> checks = Selected(options.checkNames);
    const std::string path = AsPath(options.modulePath);
    ValidationReport report{options.modulePath, "", {}};
    const CheckResult load = RunCheck(kLoads, path, options.limits);
    if (load.outcome != Outcome::Passed) {
        report.loadError = load.found;
        return report;
    }
    for (const Check& check : checks) {
        report.results.push_back(RunCheck(check, path, options.limits));
    }
    return report;
}

ValidationVerdict RunValidatePlugin(const ValidatePluginOptions& options, std::ostream& output) {
    if (options.isListing) {
        return PrintList(options.isJson, output);
    }
    const ValidationReport report = ValidatePlugin(options);
    if (!report.loadError.empty()) {
        return {kExitNotLoaded, report.modulePath + " cannot be loaded: " + report.loadError};
    }
    options.isJson ? PrintJson(report, output) : PrintText(report, output);
    return {report.HasPassed() ? kExitPassed : kExitFailed,
            std::to_string(CountPassed(report)) + " of " + std::to_string(report.results.size()) + " checks passed"};
}

}  // namespace flash::host
