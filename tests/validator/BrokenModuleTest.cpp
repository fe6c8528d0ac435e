// Each module that breaks one promise fails the check of that promise and no other.
#include <gtest/gtest.h>

#include <sys/prctl.h>
#include <sys/wait.h>

#include <algorithm>
#include <csignal>
#include <string_view>

#include "tests/support/LongForm.h"
#include "validator/Check.h"
#include "validator/ValidatePlugin.h"

namespace flash::host {
namespace {

using validator::CheckResult;
using validator::Outcome;

struct BrokenModule {
    const char* module;
    const char* check;
    Outcome outcome;
};

ValidatePluginOptions OptionsFor(const std::string& module) {
    ValidatePluginOptions options;
    options.modulePath = BROKEN_FOLDER + module + ".so";
    options.limits.cpuSeconds = 4;
    return options;
}

ValidationReport Validate(const ValidatePluginOptions& options, bool isInterrupted = false) {
    return ValidatePlugin(
        options, [](const CheckResult&) {}, isInterrupted);
}

class BrokenModules : public testing::TestWithParam<BrokenModule> {};

// All in the long form. Else the module's own and a quarter of the others, each module another one than the one before.
std::vector<std::string> ChecksFor(const BrokenModule& broken);

TEST_P(BrokenModules, FailExactlyTheirOwnCheck) {
    ValidatePluginOptions options = OptionsFor(GetParam().module);
    options.checkNames = ChecksFor(GetParam());

    const ValidationReport report = Validate(options);

    EXPECT_EQ(report.loadError, "");
    std::vector<std::string> unmet;
    for (const CheckResult& result : report.results) {
        if (result.outcome != Outcome::Passed) {
            unmet.emplace_back(result.name);
            EXPECT_EQ(NameOf(result.outcome), std::string(NameOf(GetParam().outcome))) << result.found;
            EXPECT_NE(result.expected, "");
            EXPECT_NE(result.found, "");
            EXPECT_NE(result.expected, result.found);
        }
    }
    EXPECT_EQ(unmet, std::vector<std::string>{GetParam().check});
}

constexpr BrokenModule kModules[] = {
    {"SecondExport", "exports-only-the-factory", Outcome::Failed},
    {"CallsHostAtRelease", "release-leaves-the-host-alone", Outcome::Failed},
    {"AbortsAtItsEnd", "can-be-unloaded", Outcome::Crashed},
    {"NeverUnloads", "can-be-unloaded", Outcome::Hung},
    {"LeaksDevices", "live-memory-is-steady", Outcome::Failed},
    {"KnowsOneSecondGeneration", "sixth-character-selects", Outcome::Failed},
    {"CatchesNameErrors", "name-without-digit-throws", Outcome::Failed},
    {"ForgetsAnOperation", "tells-its-operations", Outcome::Failed},
    {"EndOfFlashIsOutside", "end-of-flash-counts-as-inside", Outcome::Failed},
    {"EndsTheProcess", "only-the-end-of-a-range-counts", Outcome::Crashed},
    {"CutsAddresses", "addresses-above-32-bits-are-refused", Outcome::Failed},
    {"CrashesOnDataType", "data-types-are-unsupported", Outcome::Crashed},
    {"ForgetsErrorTexts", "error-text-outlives-success", Outcome::Failed},
    {"ShortensTexts", "host-texts-come-back-unchanged", Outcome::Failed},
    {"HaltsTooOften", "edge-phases-halt", Outcome::Failed},
    {"WaitsForEachChunk", "only-the-previous-chunk-is-awaited", Outcome::Failed},
    {"WrongCrc", "crc-value", Outcome::Failed},
    {"CrcWithoutFlag", "crc-field-is-0-without-the-option", Outcome::Failed},
    {"PausesTwice", "polls-400-times", Outcome::Failed},
    {"PausesTooLong", "pauses-for-5-milliseconds", Outcome::Failed},
    {"NeverEnds", "erase-is-one-command", Outcome::Hung},
    {"ErasesOneByteMore", "erase-sectors-posts-ranges", Outcome::Failed},
    {"LowerCaseAddress", "reads-and-shows-addresses", Outcome::Failed},
    {"LosesCcfgAtBankErase", "ccfg-survives-a-bank-erase", Outcome::Failed},
    {"AcceptsDecimalFill", "fill-value-is-checked", Outcome::Failed},
    {"ThrowsAcross", "told-whether-it-verifies", Outcome::Failed},
    {"KeepsEraseSetting", "erase-setting-is-put-back", Outcome::Failed},
    {"CallsReservedSlot", "reserved-slots-are-left-alone", Outcome::Failed},
    {"WrongPage", "memory-is-asked-for-as-agreed", Outcome::Failed},
    {"IgnoresFailingMessage", "every-failing-call-is-answered", Outcome::Failed},
};

std::vector<std::string> ChecksFor(const BrokenModule& broken) {
    constexpr std::size_t kShortStride = 4;
    const auto* place = std::ranges::find(kModules, std::string_view(broken.module), &BrokenModule::module);
    auto turn = static_cast<std::size_t>(place - kModules);
    std::vector<std::string> names;
    for (const validator::Check& check : validator::AllChecks()) {
        const bool isInTurn = turn++ % kShortStride == 0;
        if (isInTurn || test::IsLongForm() || check.name == std::string_view(broken.check)) {
            names.emplace_back(check.name);
        }
    }
    return names;
}

INSTANTIATE_TEST_SUITE_P(Each, BrokenModules, testing::ValuesIn(kModules),
                         [](const auto& tested) { return std::string(tested.param.module); });

TEST(UnusableModule, IsNotLoadedWithItsReason) {
    struct Case {
        const char* name;
        std::string path;
        const char* reason;
    };
    const Case cases[] = {
        {"no such file", BROKEN_FOLDER "NoSuchFile.so", "No such file"},
        {"no shared library", BROKEN_FOLDER "../CTestTestfile.cmake", "invalid ELF header"},
        {"no factory", BROKEN_FOLDER "NoFactory.so", "it has no CreateFlashDevice2"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        ValidatePluginOptions options;
        options.modulePath = c.path;

        const ValidationReport report = Validate(options);

        EXPECT_NE(report.loadError.find(c.reason), std::string::npos) << report.loadError;
        EXPECT_TRUE(report.results.empty());
    }
}

TEST(FailingModule, IsToldExpectedAndFoundAsEachCheckEnds) {
    ValidatePluginOptions options = OptionsFor("PausesTooLong");
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
    ValidatePluginOptions options = OptionsFor("NeverEnds");
    options.checkNames = {"erase-is-one-command"};
    options.limits = {3600, 3600};

    const ValidationReport report = Validate(options, true);

    EXPECT_TRUE(report.wasInterrupted);
    EXPECT_TRUE(report.results.empty());
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
}

// Orphans come to this process, so that it can see how the one that the module started ended.
TEST(ModuleThatStartsAProcess, IsJudgedAtItsOwnEndAndLeavesNothingBehind) {
    ASSERT_EQ(prctl(PR_SET_CHILD_SUBREAPER, 1), 0);
    ValidatePluginOptions options = OptionsFor("StartsAProcess");
    options.checkNames = {"crc-value"};
    options.limits = {4, 3600};

    const ValidationReport report = Validate(options);

    EXPECT_EQ(report.PassedCount(), 1U);
    int orphans = 0;
    for (int status = 0; waitpid(-1, &status, 0) > 0; ++orphans) {
        EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL) << status;
    }
    EXPECT_GE(orphans, 1);
}

}  // namespace
}  // namespace flash::host
