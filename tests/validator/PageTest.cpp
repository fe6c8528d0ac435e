// The page of results in its three forms, and how far the levels go.
#include "validator/page/Page.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>

#include "validator/page/Text.h"

namespace flash::validator {
namespace {

ValidationReport Sample() {
    ValidationReport report;
    report.modulePath = "a&b.so";
    report.results = {{"crc", "crc-value", "The CRC is right.", Outcome::Passed, "", "", 0.0125},
                      {"crc", "crc-of-none", "No <data>.", Outcome::Failed, "\"0\"", "caf\xE9\n\x1B", 1.5},
                      {"texts", "texts-live", "They live.", Outcome::NotReached, "", "interrupted", 0}};
    return report;
}

TEST(Page, HasALineForEachCheckAndTheVerdict) {
    EXPECT_EQ(TextPage(Sample()),
              "crc\n"
              "  passed  crc-value: The CRC is right.\n"
              "  failed  crc-of-none: No <data>.\n"
              "      expected: \"0\"\n"
              "      found:    caf\\xE9\\x0A\\x1B\n"
              "texts\n"
              "  not reached  texts-live: They live.\n"
              "      because: interrupted\n"
              "1 of 2 checks passed; 1 not reached\n");
}

TEST(Page, IsJsonWithTheSameInIt) {
    EXPECT_EQ(JsonPage(Sample()),
              R"({
  "module": "a&b.so",
  "checks": [
    {"topic": "crc", "name": "crc-value", "demand": "The CRC is right.", "outcome": "passed", "seconds": 0.012},
    {"topic": "crc", "name": "crc-of-none", "demand": "No <data>.", "outcome": "failed", "seconds": 1.500, "expected": "\"0\"", "found": "caf)"
              "\xEF\xBF\xBD"
              R"(\u000A\u001B"},
    {"topic": "texts", "name": "texts-live", "demand": "They live.", "outcome": "not reached", "seconds": 0.000, "reason": "interrupted"}
  ],
  "passed": 1,
  "broken": 1,
  "notReached": 1,
  "verdict": "1 of 2 checks passed; 1 not reached"
}
)");
}

TEST(Page, IsJUnitWithATestCaseForEachCheck) {
    EXPECT_EQ(JUnitPage(Sample()),
              R"(<?xml version="1.0" encoding="UTF-8"?>
<testsuites>
  <testsuite name="a&amp;b.so" tests="3" failures="1" errors="0" skipped="1" time="1.512">
    <testcase classname="crc" name="crc-value" time="0.012"/>
    <testcase classname="crc" name="crc-of-none" time="1.500">
      <failure type="failed" message="expected &quot;0&quot;; found caf)"
              "\xEF\xBF\xBD"
              R"(&#10;\x1B">No &lt;data&gt;.
expected: &quot;0&quot;
found:    caf)"
              "\xEF\xBF\xBD"
              R"(&#10;\x1B
</failure>
    </testcase>
    <testcase classname="texts" name="texts-live" time="0.000">
      <skipped message="interrupted"/>
    </testcase>
  </testsuite>
</testsuites>
)");
}

TEST(Page, TellsOfAModuleThatCannotBeLoadedAsOfAFailedCheck) {
    ValidationReport report = Sample();
    report.loadError = "no such file";
    for (CheckResult& result : report.results) {
        result.outcome = Outcome::NotReached;
    }

    EXPECT_NE(JUnitPage(report).find("tests=\"4\" failures=\"1\" errors=\"0\" skipped=\"3\""), std::string::npos);
    EXPECT_NE(JUnitPage(report).find("name=\"can-be-loaded\""), std::string::npos);
    EXPECT_NE(JsonPage(report).find("\"outcome\": \"not loaded\""), std::string::npos);
    EXPECT_NE(TextPage(report).find("found:    no such file"), std::string::npos);
}

TEST(Text, OfAModuleBecomesUtf8WhateverItIs) {
    struct Case {
        const char* name;
        std::string bytes, text;
    };
    const std::string none = "\xEF\xBF\xBD";
    const Case cases[] = {
        {"two bytes", "\xC3\xA9", "\xC3\xA9"},
        {"four bytes", "\xF0\x9F\x94\xA6", "\xF0\x9F\x94\xA6"},
        {"cut off", "a\xC3", "a" + none},
        {"longer than needed", "\xC0\xAF", none + none},
        {"half of a pair", "\xED\xA0\x80", none + none + none},
        {"behind the last character", "\xF4\x90\x80\x80", none + none + none + none},
        {"continuation alone", "\x80z", none + "z"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(AsUtf8(c.bytes), c.text);
    }
}

TEST(Text, HasNothingThatXmlForbids) {
    EXPECT_EQ(XmlText("<a b='\"'>&\x01\x7F\xEF\xBF\xBF"), "&lt;a b='&quot;'&gt;&amp;\\x01\\x7F\xEF\xBF\xBD");
}

std::vector<std::string> TopicsOf(Level level) {
    ValidatePluginOptions options;
    options.level = level;
    std::vector<std::string> topics;
    for (const Check& check : ChecksFor(options)) {
        if (topics.empty() || topics.back() != check.topic) {
            topics.emplace_back(check.topic);
        }
    }
    return topics;
}

TEST(Level, HasTheChecksOfTheOnesBeforeItAndMore) {
    EXPECT_EQ(TopicsOf(Level::Loads), std::vector<std::string>{"loading"});
    EXPECT_EQ(TopicsOf(Level::Starts),
              (std::vector<std::string>{"loading", "generation", "start-up", "addresses", "texts"}));
    EXPECT_EQ(TopicsOf(Level::Programs),
              (std::vector<std::string>{"loading", "generation", "start-up", "addresses", "texts", "phases",
                                        "program load", "crc", "time-out", "operations"}));
    ValidatePluginOptions all;
    EXPECT_EQ(ChecksFor(all).size(), AllChecks().size());
}

}  // namespace
}  // namespace flash::validator
