// The real module passes every check, and the command says so in text and JSON.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <set>
#include <sstream>

#include "host/validator/ValidatePlugin.h"

namespace flash::host {
namespace {

ValidatePluginOptions OptionsForTheRealModule() {
    ValidatePluginOptions options;
    options.modulePath = REAL_MODULE;
    return options;
}

// One object per line.
std::vector<nlohmann::json> RunAsJson(ValidatePluginOptions options) {
    options.isJson = true;
    std::stringstream output;
    EXPECT_EQ(RunValidatePlugin(options, output).exitCode, 0);
    std::vector<nlohmann::json> events;
    for (std::string line; std::getline(output, line);) {
        events.push_back(nlohmann::json::parse(line));
        EXPECT_EQ(events.back()["event"], "check");
    }
    return events;
}

TEST(RealModule, PassesEveryCheck) {
    const ValidationReport report = ValidatePlugin(OptionsForTheRealModule());

    EXPECT_TRUE(report.HasPassed());
    EXPECT_GE(report.results.size(), 25U);
    for (const validator::CheckResult& result : report.results) {
        EXPECT_EQ(result.outcome, validator::Outcome::Passed)
            << result.name << ": expected " << result.expected << ", found " << result.found;
    }
    std::printf("%zu checks passed\n", report.results.size());
}

TEST(RealModule, IsReportedAsJson) {
    ValidatePluginOptions options = OptionsForTheRealModule();
    options.checkNames = {"crc-value", "data-arrives"};

    const std::vector<nlohmann::json> checks = RunAsJson(options);

    ASSERT_EQ(checks.size(), 2U);
    EXPECT_EQ(checks[0]["name"], "crc-value");
    EXPECT_EQ(checks[1]["outcome"], "passed");
}

TEST(CheckList, NamesEachCheckOnce) {
    ValidatePluginOptions options;
    options.isListing = true;

    const std::vector<nlohmann::json> list = RunAsJson(options);

    std::set<std::string> names;
    for (const nlohmann::json& check : list) {
        EXPECT_TRUE(names.insert(check["name"]).second) << check["name"];
        EXPECT_NE(check["topic"], "");
        EXPECT_NE(check["demand"], "");
    }
    EXPECT_EQ(names.size(), validator::AllChecks().size());
}

TEST(UnknownCheck, IsRefusedByName) {
    ValidatePluginOptions options = OptionsForTheRealModule();
    options.checkNames = {"crc-values"};

    try {
        ValidatePlugin(options);
        FAIL() << "no exception";
    } catch (const std::invalid_argument& error) {
        EXPECT_STREQ(error.what(), "no check is named \"crc-values\"");
    }
}

}  // namespace
}  // namespace flash::host
