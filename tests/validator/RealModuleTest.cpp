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

nlohmann::json RunAsJson(ValidatePluginOptions options, int expectedExitCode) {
    options.isJson = true;
    std::ostringstream output;
    EXPECT_EQ(RunValidatePlugin(options, output), expectedExitCode);
    return nlohmann::json::parse(output.str());
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

    const nlohmann::json report = RunAsJson(options, 0);

    EXPECT_EQ(report["module"], REAL_MODULE);
    EXPECT_EQ(report["loaded"], true);
    EXPECT_EQ(report["passed"], 2);
    EXPECT_EQ(report["failed"], 0);
    EXPECT_EQ(report["checks"][0]["name"], "crc-value");
    EXPECT_EQ(report["checks"][1]["outcome"], "passed");
}

TEST(UnloadableModule, IsReportedAsJson) {
    ValidatePluginOptions options;
    options.modulePath = "/no/such \"module\"\n";

    const nlohmann::json report = RunAsJson(options, 4);

    EXPECT_EQ(report["module"], options.modulePath);
    EXPECT_EQ(report["loaded"], false);
    EXPECT_NE(report["loadError"], "");
}

TEST(CheckList, NamesEachCheckOnce) {
    ValidatePluginOptions options;
    options.isListing = true;

    const nlohmann::json list = RunAsJson(options, 0);

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
    std::ostringstream output;

    EXPECT_EQ(RunValidatePlugin(options, output), 1);

    EXPECT_EQ(output.str(), "no check is named \"crc-values\"\n");
}

}  // namespace
}  // namespace flash::host
