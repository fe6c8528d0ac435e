// A check's process is this one once more, by fork.
#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstring>
#include <system_error>

#include "validator/CheckProcess.h"
#include "validator/StartedProcesses.h"

namespace flash::validator {
namespace {

struct Pipe {
    Pipe() {
        int ends[2];
        if (pipe(ends) != 0) {
            throw std::system_error(errno, std::generic_category(), "pipe");
        }
        readEnd = ends[0];
        writeEnd = ends[1];
    }
    int readEnd;
    int writeEnd;
};

void Send(int file, const std::string& message) {
    for (std::size_t sent = 0; sent < message.size();) {
        const ssize_t count = write(file, message.data() + sent, message.size() - sent);
        if (count <= 0) {
            return;
        }
        sent += static_cast<std::size_t>(count);
    }
}

// The check ends with the validator, and it alone. Signals end it again, whatever handler is inherited, so that the
// parent sees them.
void PrepareProcess(const RunLimits& limits, pid_t parent) {
    setpgid(0, 0);
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent) {
        _exit(1);  // the parent ended before it could be watched
    }
    for (const int number :
         {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT, SIGTRAP, SIGINT, SIGTERM, SIGHUP, SIGPIPE, SIGXCPU, SIGXFSZ}) {
        signal(number, SIG_DFL);
    }
    const rlimit noCore{0, 0};
    setrlimit(RLIMIT_CORE, &noCore);
    const rlimit cpu{limits.cpuSeconds, limits.cpuSeconds + 1};
    setrlimit(RLIMIT_CPU, &cpu);
    const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
    dup2(nowhere, STDOUT_FILENO);
    dup2(nowhere, STDERR_FILENO);
}

// The check's process. It leads a group, so that most of what the plug-in starts ends at once with the check.
class CheckProcess {
public:
    CheckProcess(const Check& check, const std::string& modulePath, const RunLimits& limits) {
        const Pipe channel;
        const pid_t parent = getpid();
        process = fork();
        if (process < 0) {
            throw std::system_error(errno, std::generic_category(), "fork");
        }
        if (process == 0) {
            close(channel.readEnd);
            PrepareProcess(limits, parent);
            Send(channel.writeEnd, Perform(check, modulePath));
            _exit(0);
        }
        setpgid(process, process);  // here, too: the group is there whichever of the two comes first
        close(channel.writeEnd);
        readEnd = channel.readEnd;
    }
    ~CheckProcess() { close(readEnd); }
    CheckProcess(const CheckProcess&) = delete;
    CheckProcess& operator=(const CheckProcess&) = delete;

    // Takes what the process sends until it ends. That is more than the end of the pipe, which what the plug-in started
    // may hold open, and which the plug-in may close.
    End Wait(const StartedProcesses& started, const RunLimits& limits, const std::atomic<bool>& isInterrupted) {
        using Clock = std::chrono::steady_clock;
        constexpr int kLookUpMilliseconds = 10;                    // for an end or an interruption without a word
        constexpr std::chrono::milliseconds kMeasureInterval(50);  // of memory, which takes its time
        const auto deadline = Clock::now() + std::chrono::seconds(limits.wallSeconds);
        auto nextMeasure = Clock::now() + kMeasureInterval;
        while (!HasEnded()) {
            if (isInterrupted) {
                return End::Interrupted;
            }
            if (Clock::now() >= deadline) {
                return End::TimeOver;
            }
            // A limit of the system would not do: each process has one of its own, and a sanitizer takes more address
            // space than any.
            if (Clock::now() >= nextMeasure) {
                if (started.UsedMebibytes() > limits.mebibytes) {
                    return End::MemoryOver;
                }
                nextMeasure = Clock::now() + kMeasureInterval;
            }
            Receive(isOpen ? kLookUpMilliseconds : 1);
        }
        while (Receive(0)) {
        }
        return End::OfItself;
    }

    // Ends whatever of the group is left, and returns the process's status.
    int Finish() const {
        kill(-process, SIGKILL);
        int status = 0;
        while (waitpid(process, &status, 0) < 0 && errno == EINTR) {
        }
        return status;
    }

    const std::string& Message() const { return message; }

private:
    // Without taking its status, so that its number, which is the group's, stays taken.
    bool HasEnded() const {
        siginfo_t info{};
        return waitid(P_PID, static_cast<id_t>(process), &info, WEXITED | WNOHANG | WNOWAIT) == 0 && info.si_pid != 0;
    }

    // What comes within this time; false for nothing.
    bool Receive(int milliseconds) {
        pollfd waiting{isOpen ? readEnd : -1, POLLIN, 0};
        if (poll(&waiting, 1, milliseconds) <= 0) {
            return false;
        }
        char bytes[4096];
        const ssize_t count = read(readEnd, bytes, sizeof bytes);
        isOpen = count > 0;
        message.append(bytes, isOpen ? static_cast<std::size_t>(count) : 0);
        return isOpen;
    }

    pid_t process = -1;
    int readEnd = -1;
    bool isOpen = true;
    std::string message;
};

ProcessEnd EndOfItself(int status, const std::string& message) {
    if (WIFSIGNALED(status) && WTERMSIG(status) == SIGXCPU) {
        return {End::ComputingOver, "", message};
    }
    if (WIFSIGNALED(status)) {
        const int number = WTERMSIG(status);
        return {End::Crash, "signal " + std::to_string(number) + " (" + strsignal(number) + ")", message};
    }
    if (WEXITSTATUS(status) != 0) {
        return {End::Crash, "an exit of the process with code " + std::to_string(WEXITSTATUS(status)), message};
    }
    return {End::OfItself, "", message};
}

}  // namespace

ProcessEnd RunInProcess(const Check& check, const std::string& modulePath, const RunLimits& limits,
                        const std::atomic<bool>& isInterrupted) {
    const StartedProcesses started;
    CheckProcess process(check, modulePath, limits);
    const End end = process.Wait(started, limits, isInterrupted);
    const int status = process.Finish();
    started.End();
    return end == End::OfItself ? EndOfItself(status, process.Message()) : ProcessEnd{end, "", process.Message()};
}

std::optional<int> RunAsCheck(int, char**) { return std::nullopt; }

}  // namespace flash::validator
