#include "validator/page/Page.h"

#include <array>
#include <cstdio>
#include <numeric>
#include <utility>

#include "validator/page/Text.h"

namespace flash::validator {
namespace {

std::string SecondsText(double seconds) {
    std::array<char, 32> text;
    const auto milliseconds = static_cast<unsigned long long>(seconds * 1000);
    const int length = std::snprintf(text.data(), text.size(), "%llu.%03llu", milliseconds / 1000, milliseconds % 1000);
    return {text.data(), static_cast<std::size_t>(length)};
}

double SecondsOf(const ValidationReport& report) {
    return std::accumulate(report.results.begin(), report.results.end(), 0.0,
                           [](double sum, const CheckResult& result) { return sum + result.seconds; });
}

// The reader counts on a check for what was not even loaded, too.
CheckResult Loading(const ValidationReport& report) {
    return {kCanBeLoaded.topic,
            kCanBeLoaded.name,
            kCanBeLoaded.demand,
            Outcome::NotLoaded,
            "a module that can be loaded",
            report.loadError,
            0};
}

std::string JsonOf(const CheckResult& result) {
    std::string text = "    {\"topic\": " + JsonText(result.topic) + ", \"name\": " + JsonText(result.name) +
                       ", \"demand\": " + JsonText(result.demand) +
                       ", \"outcome\": " + JsonText(NameOf(result.outcome)) +
                       ", \"seconds\": " + SecondsText(result.seconds);
    if (result.outcome == Outcome::NotReached) {
        text += ", \"reason\": " + JsonText(result.found);
    } else if (IsBroken(result)) {
        text += ", \"expected\": " + JsonText(result.expected) + ", \"found\": " + JsonText(result.found);
    }
    return text + "}";
}

std::string JUnitOf(const CheckResult& result) {
    const std::string head = "    <testcase classname=\"" + XmlText(result.topic) + "\" name=\"" +
                             XmlText(result.name) + "\" time=\"" + SecondsText(result.seconds) + "\"";
    if (result.outcome == Outcome::NotReached) {
        return head + ">\n      <skipped message=\"" + XmlText(result.found) + "\"/>\n    </testcase>\n";
    }
    if (!IsBroken(result)) {
        return head + "/>\n";
    }
    const std::string what = XmlText(result.demand) + "\nexpected: " + XmlText(result.expected) +
                             "\nfound:    " + XmlText(result.found) + "\n";
    return head + ">\n      <failure type=\"" + NameOf(result.outcome) + "\" message=\"" +
           XmlText("expected " + result.expected + "; found " + result.found) + "\">" + what +
           "</failure>\n    </testcase>\n";
}

std::vector<CheckResult> WithLoading(const ValidationReport& report) {
    std::vector<CheckResult> results = report.results;
    if (!report.loadError.empty()) {
        results.insert(results.begin(), Loading(report));
    }
    return results;
}

}  // namespace

std::string TextOf(const CheckResult& result, std::string& topic) {
    std::string text = std::exchange(topic, result.topic) == result.topic ? "" : topic + "\n";
    text += std::string("  ") + NameOf(result.outcome) + "  " + result.name + ": " + result.demand + "\n";
    if (result.outcome == Outcome::NotReached) {
        text += "      because: " + InOneLine(result.found) + "\n";
    } else if (IsBroken(result)) {
        text += "      expected: " + InOneLine(result.expected) + "\n      found:    " + InOneLine(result.found) + "\n";
    }
    return text;
}

std::string TextPage(const ValidationReport& report) {
    std::string text, topic;
    for (const CheckResult& result : WithLoading(report)) {
        text += TextOf(result, topic);
    }
    return text + report.Verdict() + "\n";
}

std::string JsonPage(const ValidationReport& report) {
    std::string text = "{\n  \"module\": " + JsonText(report.modulePath) + ",\n  \"checks\": [";
    const char* comma = "\n";
    for (const CheckResult& result : WithLoading(report)) {
        text += std::exchange(comma, ",\n") + JsonOf(result);
    }
    const auto count = [](std::size_t number) { return std::to_string(number); };
    const std::size_t broken = report.BrokenCount() + (report.loadError.empty() ? 0 : 1);
    return text + "\n  ],\n  \"passed\": " + count(report.PassedCount()) + ",\n  \"broken\": " + count(broken) +
           ",\n  \"notReached\": " + count(report.results.size() - report.ReachedCount()) +
           ",\n  \"verdict\": " + JsonText(report.Verdict()) + "\n}\n";
}

std::string JUnitPage(const ValidationReport& report) {
    const std::vector<CheckResult> results = WithLoading(report);
    const std::size_t broken = report.BrokenCount() + (report.loadError.empty() ? 0 : 1);
    std::string text = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<testsuites>\n  <testsuite name=\"" +
                       XmlText(report.modulePath) + "\" tests=\"" + std::to_string(results.size()) + "\" failures=\"" +
                       std::to_string(broken) + "\" errors=\"0\" skipped=\"" +
                       std::to_string(report.results.size() - report.ReachedCount()) + "\" time=\"" +
                       SecondsText(SecondsOf(report)) + "\">\n";
    for (const CheckResult& result : results) {
        text += JUnitOf(result);
    }
    return text + "  </testsuite>\n</testsuites>\n";
}

std::string PageOf(const ValidationReport& report, PageForm form) {
    switch (form) {
        case PageForm::Json:
            return JsonPage(report);
        case PageForm::JUnit:
            return JUnitPage(report);
        default:
            return TextPage(report);
    }
}

}  // namespace flash::validator
