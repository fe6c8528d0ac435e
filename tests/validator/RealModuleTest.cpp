// The real module passes every check, and the list of checks is sound.
#include <gtest/gtest.h>

#include <set>

#include "validator/Check.h"
#include "validator/ValidatePlugin.h"

namespace flash::validator {
namespace {

ValidatePluginOptions OptionsForTheRealModule() {
    ValidatePluginOptions options;
    options.modulePath = REAL_MODULE;
    return options;
}

ValidationReport Validate(const ValidatePluginOptions& options) {
    return ValidatePlugin(
        options, [](const CheckResult&) {}, false);
}

TEST(RealModule, PassesEveryCheck) {
    const ValidationReport report = Validate(OptionsForTheRealModule());

    EXPECT_EQ(report.loadError, "");
    EXPECT_GE(report.PassedCount() + 1, report.results.size());  // a system may not count handles
    EXPECT_GE(report.results.size(), 25U);
    for (const CheckResult& result : report.results) {
        EXPECT_FALSE(IsBroken(result)) << result.name << ": expected " << result.expected << ", found " << result.found;
    }
    std::printf("%zu checks passed\n", report.results.size());
}

TEST(CheckList, NamesEachCheckOnce) {
    std::set<std::string> names;
    for (const Check& check : AllChecks()) {
        EXPECT_TRUE(names.insert(check.name).second) << check.name;
        EXPECT_STRNE(check.topic, "");
        EXPECT_STRNE(check.demand, "");
    }
}

TEST(UnknownCheck, IsRefusedByName) {
    ValidatePluginOptions options = OptionsForTheRealModule();
    options.checkNames = {"crc-values"};

    try {
        Validate(options);
        FAIL() << "no exception";
    } catch (const std::invalid_argument& error) {
        EXPECT_STREQ(error.what(), "no check is named \"crc-values\"");
    }
}

}  // namespace
}  // namespace flash::validator
