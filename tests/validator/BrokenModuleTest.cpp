// Each check fails for a module that breaks its promise, and no other check does. The module's bug has the check's
// name; a few more end a check in another way than by an unmet expectation.
#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <string_view>

#include "tests/support/LongForm.h"
#include "tests/validator/BrokenModules.h"
#include "validator/Check.h"
#include "validator/ValidatePlugin.h"

namespace flash::validator {
namespace {

#if defined(_WIN32)
constexpr bool kIsSlow = true;          // it takes its time to start a process
constexpr bool kCountsHandles = false;  // Wine does not
#else
constexpr bool kIsSlow = false;
constexpr bool kCountsHandles = true;
#endif

// All in the long form. Else the broken one and three of the others, for each bug other ones.
std::vector<std::string> ChecksFor(std::string_view broken) {
    constexpr std::size_t kShortStride = 34;
    const auto place = std::ranges::find(AllChecks(), broken, &Check::name);
    auto turn = static_cast<std::size_t>(place - AllChecks().begin());
    std::vector<std::string> names;
    for (const Check& check : AllChecks()) {
        const bool isInTurn = turn++ % kShortStride == 0;
        if (isInTurn || test::IsLongForm() || check.name == broken) {
            names.emplace_back(check.name);
        }
    }
    return names;
}

// "name: outcome" of those that did not pass, but for what the system cannot tell.
std::vector<std::string> Unmet(const ValidationReport& report) {
    std::vector<std::string> unmet;
    for (const CheckResult& result : report.results) {
        const bool isOfTheSystem =
            !kCountsHandles && result.outcome == Outcome::NotReached && std::string(result.name) == "starts-no-thread";
        if (result.outcome != Outcome::Passed && !isOfTheSystem) {
            unmet.push_back(std::string(result.name) + ": " + NameOf(result.outcome));
            EXPECT_NE(result.expected, "");
            EXPECT_NE(result.found, "");
            EXPECT_NE(result.expected, result.found);
        }
    }
    return unmet;
}

// All but where that takes too long.
std::vector<std::string> NamesToBreak() {
    std::vector<std::string> names;
    constexpr std::size_t kShortStride = kIsSlow ? 25 : 1;
    for (std::size_t i = 0; i < AllChecks().size(); i += test::IsLongForm() ? 1 : kShortStride) {
        names.emplace_back(AllChecks()[i].name);
    }
    return names;
}

class EachCheck : public testing::TestWithParam<std::string> {};

TEST_P(EachCheck, IsTheOneThatFailsWhenItsPromiseIsBroken) {
    const std::string name = GetParam();
    ValidatePluginOptions options = OptionsFor(name);
    options.checkNames = ChecksFor(name);
    if (name == "exports-only-the-factory") {
        options.modulePath = BROKEN_FOLDER "SecondExport" MODULE_ENDING;
    }
    const Outcome outcome = name == "can-be-unloaded" ? Outcome::Crashed : Outcome::Failed;

    const ValidationReport report = Validate(options);

    EXPECT_EQ(report.loadError, "");
    EXPECT_EQ(Unmet(report), std::vector<std::string>{name + ": " + NameOf(outcome)});
}

std::string NameOfTest(const testing::TestParamInfo<std::string>& info) {
    std::string name = info.param;
    std::ranges::replace(name, '-', '_');
    return name;
}
INSTANTIATE_TEST_SUITE_P(Of, EachCheck, testing::ValuesIn(NamesToBreak()), NameOfTest);

TEST(BrokenModule, MayFailACheckInAnyWay) {
    struct Case {
        const char* bug;
        const char* check;
        Outcome outcome;
    };
    const Case cases[] = {
        {"crashes", "data-types-are-unsupported", Outcome::Crashed},
        {"ends-the-process", "only-the-end-of-a-range-counts", Outcome::Crashed},
        {"throws-across", "told-whether-it-verifies", Outcome::Failed},
        {"never-comes-back", "erase-is-one-command", Outcome::Hung},
        {"never-unloads", "can-be-unloaded", Outcome::Hung},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.bug);
        ValidatePluginOptions options = OptionsFor(c.bug);
        options.checkNames = ChecksFor(c.check);
        options.limits.cpuSeconds = 1;

        EXPECT_EQ(Unmet(Validate(options)), std::vector<std::string>{std::string(c.check) + ": " + NameOf(c.outcome)});
    }
}

#if defined(_WIN32)
constexpr char kNoSuchFile[] = "(error 126)";
constexpr char kNoLibrary[] = "(error 193)";
#else
constexpr char kNoSuchFile[] = "No such file";
constexpr char kNoLibrary[] = "invalid ELF header";
#endif

TEST(UnusableModule, IsNotLoadedWithItsReason) {
    struct Case {
        const char* name;
        std::string path;
        const char* reason;
    };
    const Case cases[] = {
        {"no such file", BROKEN_FOLDER "NoSuchFile" MODULE_ENDING, kNoSuchFile},
        {"no shared library", BROKEN_FOLDER "../CTestTestfile.cmake", kNoLibrary},
        {"no factory", BROKEN_FOLDER "NoFactory" MODULE_ENDING, "it has no CreateFlashDevice2"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        ValidatePluginOptions options;
        options.modulePath = c.path;

        const ValidationReport report = Validate(options);

        EXPECT_NE(report.loadError.find(c.reason), std::string::npos) << report.loadError;
        EXPECT_EQ(report.ReachedCount(), 0U);
        EXPECT_EQ(report.results.size(), AllChecks().size());
    }
}

TEST(FailingModule, IsToldExpectedAndFoundAsEachCheckEnds) {
    ValidatePluginOptions options = OptionsFor("pauses-for-5-milliseconds");
    options.checkNames = {"pauses-for-5-milliseconds", "crc-value"};

    std::vector<CheckResult> told;
    const ValidationReport report = ValidatePlugin(
        options, [&](const CheckResult& result) { told.push_back(result); }, false);

    ASSERT_EQ(told.size(), 2U);
    EXPECT_EQ(told[0].expected, "milliseconds of a pause: 5 (0x5)");
    EXPECT_EQ(told[0].found, "10 (0xA)");
    EXPECT_EQ(told[1].outcome, Outcome::Passed);
    EXPECT_EQ(report.PassedCount(), 1U);
}

TEST(InterruptedValidation, EndsTheCheckThatNeverComesBack) {
    ValidatePluginOptions options = OptionsFor("never-comes-back");
    options.checkNames = {"erase-is-one-command"};
    options.limits = {3600, 3600};

    const ValidationReport report = Validate(options, true);

    EXPECT_TRUE(report.wasInterrupted);
    ASSERT_EQ(report.results.size(), 1U);
    EXPECT_EQ(report.results[0].outcome, Outcome::NotReached);
    EXPECT_EQ(report.results[0].found, "interrupted");
}

TEST(ModuleThatTakesAllMemory, IsEndedAtItsLimitWhicheverProcessTakesIt) {
    for (const char* bug : {"takes-all-memory", "lets-others-take-memory"}) {
        SCOPED_TRACE(bug);
        ValidatePluginOptions options = OptionsFor(bug);
        options.checkNames = {"erase-is-one-command"};
        options.limits.mebibytes = 256;

        const ValidationReport report = Validate(options);

        ASSERT_EQ(report.results.size(), 1U);
        EXPECT_EQ(report.results[0].outcome, Outcome::Crashed);
        EXPECT_EQ(report.results[0].found, "a use of more than 256 MiB of memory");
    }
}

}  // namespace
}  // namespace flash::validator
