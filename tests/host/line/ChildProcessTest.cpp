// Programs that behave in every way: each is a shell's one line.
#include "host/line/ChildProcess.h"

#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <csignal>

#include "host/Failure.h"
#include "tests/host/support/Throws.h"

namespace flash::host::line {
namespace {

std::vector<std::string> Shell(const std::string& line) { return {"/bin/sh", "-c", line}; }

// Waits for news as a line does; all that it says until it ends.
std::string SaidUntilItsEnd(ChildProcess& process) {
    std::string said;
    while (true) {
        const bool hasEnded = process.End().has_value();
        said += process.TakeOutput();
        process.Complaints();
        if (hasEnded) {
            return said;
        }
        std::vector<pollfd> watched;
        process.AddTo(watched);
        poll(watched.data(), watched.size(), 1000);
    }
}

void AwaitOutput(ChildProcess& process) {
    while (process.TakeOutput().empty()) {
        std::vector<pollfd> watched;
        process.AddTo(watched);
        poll(watched.data(), watched.size(), 1000);
    }
}

TEST(AChildProcess, SaysWhatItSaysAndHowItEnds) {
    ChildProcess process(Shell("echo one; echo two >&2; echo three; exit 7"));

    EXPECT_EQ(SaidUntilItsEnd(process), "one\nthree\n");
    EXPECT_EQ(process.Complaints(), "two\n");
    EXPECT_EQ(process.End(), (ProcessEnd{7, 0}));
    EXPECT_EQ(process.End()->Text(), "ended with exit code 7");
}

TEST(AChildProcess, ThatCrashesIsTold) {
    ChildProcess process(Shell("kill -SEGV $$"));

    SaidUntilItsEnd(process);

    EXPECT_EQ(process.End(), (ProcessEnd{0, SIGSEGV}));
    EXPECT_EQ(process.End()->Text(), "was ended by signal 11 (Segmentation fault)");
}

TEST(AChildProcess, ThatSaysMuchIsReadWhole) {
    ChildProcess process(
        Shell("i=0; while [ $i -lt 2000 ]; do echo 0123456789012345678901234567890123456789; i=$((i+1)); done"));

    EXPECT_EQ(SaidUntilItsEnd(process).size(), 2000u * 41);
}

TEST(AChildProcess, ThatComplainsMuchIsHeardAtItsEnd) {
    ChildProcess process(Shell("i=0; while [ $i -lt 999 ]; do echo complaint $i >&2; i=$((i+1)); done; echo last >&2"));

    SaidUntilItsEnd(process);

    EXPECT_LE(process.Complaints().size(), 4096u);
    EXPECT_TRUE(process.Complaints().ends_with("complaint 998\nlast\n"));
}

TEST(AChildProcess, ThatIsNotThereIsTold) {
    EXPECT_EQ(FailureOf(FailureKind::Operation,
                        [] {
                            ChildProcess({"/no/such/program", "word"});
                        }),
              "Cannot start /no/such/program: No such file or directory");
}

TEST(AChildProcess, GetsItsWordsAsTheyAre) {
    ChildProcess process({"/usr/bin/printf", "[%s]", "a b", "$HOME", "*", "\"'", ""});

    EXPECT_EQ(SaidUntilItsEnd(process), "[a b][$HOME][*][\"'][]");
}

TEST(AChildProcess, HasNoInputAndTheUsualSignals) {
    std::signal(SIGPIPE, SIG_IGN);  // as the program has it that starts it

    ChildProcess process(Shell("cat; trap - PIPE; grep SigIgn /proc/self/status"));

    const std::string said = SaidUntilItsEnd(process);
    std::signal(SIGPIPE, SIG_DFL);
    const unsigned long long ignored = std::stoull(said.substr(said.find(':') + 1), nullptr, 16);
    EXPECT_EQ(ignored >> (SIGPIPE - 1) & 1, 0u) << said;
}

TEST(AChildProcess, EndsWhenItIsAskedAndWithAllThatItStarted) {
    ChildProcess process(Shell("trap 'echo asked; exit 3' TERM; sleep 1000 & echo ready; wait"));
    AwaitOutput(process);

    process.AskToEnd();

    EXPECT_EQ(SaidUntilItsEnd(process), "asked\n");
    EXPECT_EQ(process.End(), (ProcessEnd{3, 0}));
}

TEST(AChildProcess, ThatDoesNotListenIsKilled) {
    ChildProcess process(Shell("trap '' TERM; echo ready; while :; do sleep 1000; done"));
    AwaitOutput(process);
    process.AskToEnd();
    EXPECT_EQ(process.End(), std::nullopt);

    process.Kill();

    SaidUntilItsEnd(process);
    EXPECT_EQ(process.End(), (ProcessEnd{0, SIGKILL}));
}

TEST(AChildProcess, LeavesNothingBehind) {
    ChildProcess process(Shell("sleep 1000 & echo $!"));

    const pid_t left = std::stoi(SaidUntilItsEnd(process));

    const int handle = static_cast<int>(syscall(SYS_pidfd_open, left, 0));
    pollfd end{handle, POLLIN, 0};
    EXPECT_TRUE(handle < 0 || poll(&end, 1, 60'000) == 1) << "it goes on";
    close(handle);
}

TEST(AChildProcess, IsEndedWithWhoeverHoldsIt) {
    pid_t id = 0;
    {
        ChildProcess process(Shell("exec sleep 1000"));
        id = process.Id();
    }
    EXPECT_EQ(kill(id, 0), -1);
}

}  // namespace
}  // namespace flash::host::line
