// What modules start, and what becomes of it.
#include "validator/StartedProcesses.h"

#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

#include "tests/validator/BrokenModules.h"

namespace flash::validator {
namespace {

TEST(ModuleThatIsEnded, LeavesNoProcessBehind) {
    for (const char* bug : {"takes-all-memory", "lets-others-take-memory"}) {
        SCOPED_TRACE(bug);
        ValidatePluginOptions options = OptionsFor(bug);
        options.checkNames = {"erase-is-one-command"};
        options.limits.mebibytes = 256;

        EXPECT_EQ(Validate(options).BrokenCount(), 1U);
        EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1) << "a process of the module is still there";
    }
}

// Orphans come to this process, so that none can hide: it has no children when all have ended.
TEST(ModuleThatStartsProcesses, IsJudgedAtItsOwnEndAndLeavesNothingBehind) {
    for (const char* bug : {"starts-a-process", "starts-a-daemon"}) {
        SCOPED_TRACE(bug);
        ASSERT_EQ(prctl(PR_SET_CHILD_SUBREAPER, 1), 0);
        ValidatePluginOptions options = OptionsFor(bug);
        options.checkNames = {"crc-value"};
        options.limits = {4, 3600};

        const ValidationReport report = Validate(options);

        EXPECT_EQ(report.PassedCount(), 1U);
        EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1) << "a process of the module is still there";
    }
}

// The report of a check takes what the module has started with it, and nothing else.
TEST(ModuleThatStartsProcesses, TakesNoOtherChildWithIt) {
    const pid_t bystander = fork();
    if (bystander == 0) {
        pause();
        _exit(0);
    }
    ValidatePluginOptions options = OptionsFor("starts-a-daemon");
    options.checkNames = {"crc-value"};

    Validate(options);

    EXPECT_EQ(waitpid(bystander, nullptr, WNOHANG), 0);
    kill(bystander, SIGKILL);
    EXPECT_EQ(waitpid(bystander, nullptr, 0), bystander);
}

}  // namespace
}  // namespace flash::validator
