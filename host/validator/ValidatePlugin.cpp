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

void PrintJsonCheck(const CheckResult& result, std::ostream& output) {
    output << "    {\"topic\": " << JsonText(result.topic) << ", \"name\": " << JsonText(result.name)
           << ", \"demand\": " << JsonText(result.demand) << ", \"outcome\": " << JsonText(NameOf(result.outcome));
    if (result.outcome != Outcome::Passed) {
        output << ", \"expected\": " << JsonText(result.expected) << ", \"found\": " << JsonText(result.found);
    }
    output << "}";
}

std::size_t CountPassed(const ValidationReport& report) {
    return static_cast<std::size_t>(
        std::count_if(report.results.begin(), report.results.end(),
                      [](const CheckResult& result) { return result.outcome == Outcome::Passed; }));
}

void PrintJson(const ValidationReport& report, std::ostream& output) {
    output << "{\n  \"module\": " << JsonText(report.modulePath)
           << ",\n  \"loaded\": " << (report.loadError.empty() ? "true" : "false") << ",\n";
    if (!report.loadError.empty()) {
        output << "  \"loadError\": " << JsonText(report.loadError) << ",\n";
    }
    output << "  \"passed\": " << CountPassed(report)
           << ",\n  \"failed\": " << report.results.size() - CountPassed(report) << ",\n  \"checks\": [\n";
    for (std::size_t i = 0; i < report.results.size(); ++i) {
        PrintJsonCheck(report.results[i], output);
        output << (i + 1 < report.results.size() ? ",\n" : "\n");
    }
    output << "  ]\n}\n";
}

void PrintText(const ValidationReport& report, std::ostream& output) {
    if (!report.loadError.empty()) {
        output << report.modulePath << " cannot be loaded: " << report.loadError << "\n";
        return;
    }
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
    output << CountPassed(report) << " of " << report.results.size() << " checks passed\n";
}

int PrintList(std::ostream& output, bool isJson) {
    const std::vector<Check>& checks = AllChecks();
    output << (isJson ? "[\n" : "");
    for (std::size_t i = 0; i < checks.size(); ++i) {
        const Check& check = checks[i];
        if (isJson) {
            output << "  {\"topic\": " << JsonText(check.topic) << ", \"name\": " << JsonText(check.name)
                   << ", \"demand\": " << JsonText(check.demand) << (i + 1 < checks.size() ? "},\n" : "}\n");
        } else {
            output << check.name << " (" << check.topic << "): " << check.demand << "\n";
        }
    }
    output << (isJson ? "]\n" : "");
    return kExitPassed;
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

int RunValidatePlugin(const ValidatePluginOptions& options, std::ostream& output) {
    if (options.isListing) {
        return PrintList(output, options.isJson);
    }
    try {
        const ValidationReport report = ValidatePlugin(options);
        options.isJson ? PrintJson(report, output) : PrintText(report, output);
        return report.HasPassed() ? kExitPassed : report.loadError.empty() ? kExitFailed : kExitNotLoaded;
    } catch (const std::invalid_argument& error) {
        output << error.what() << "\n";
        return kExitFailed;
    }
}

}  // namespace flash::host
