#include "host/validator/CheckRunner.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstring>
#include <exception>
#include <system_error>

namespace flash::host::validator {
namespace {

constexpr const char* kOutcomeNames[] = {"passed", "failed", "crashed", "hung", "not loaded"};

// What a check's process sends: one letter, then two texts, each ended by a zero byte.
constexpr char kPassed = 'P';
constexpr char kFailed = 'F';
constexpr char kNotLoaded = 'L';

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

void Send(int file, char letter, const std::string& expected, const std::string& found) {
    std::string message(1, letter);
    message.append(expected.c_str(), expected.size() + 1).append(found.c_str(), found.size() + 1);
    for (std::size_t sent = 0; sent < message.size();) {
        const ssize_t count = write(file, message.data() + sent, message.size() - sent);
        if (count <= 0) {
            return;
        }
        sent += static_cast<std::size_t>(count);
    }
}

// Signals end the process again, whatever handler a runtime installed, so that the parent sees them.
void PrepareProcess(const RunLimits& limits) {
    setpgid(0, 0);
    for (const int number : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT, SIGTRAP}) {
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

void Perform(const Check& check, const std::string& modulePath, int file) {
    try {
        const ModuleUnderCheck module(modulePath);
        check.run(module);
        Send(file, kPassed, "", "");
    } catch (const NotLoadable& failure) {
        Send(file, kNotLoaded, "a module that can be loaded", failure.reason);
    } catch (const UnmetExpectation& unmet) {
        Send(file, kFailed, unmet.expected, unmet.found);
    } catch (const std::exception& error) {
        Send(file, kFailed, "no exception", Quoted(error.what()));
    }
}

[[noreturn]] void BeTheCheck(const Check& check, const std::string& modulePath, const RunLimits& limits, int file) {
    PrepareProcess(limits);
    Perform(check, modulePath, file);
    _exit(0);
}

// Everything that the process sends until it ends, or false when the time is over first.
bool Receive(int file, unsigned seconds, std::string& message) {
    using Clock = std::chrono::steady_clock;
    const auto deadline = Clock::now() + std::chrono::seconds(seconds);
    for (;;) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
        pollfd waiting{file, POLLIN, 0};
        const int ready = left <= 0 ? 0 : poll(&waiting, 1, static_cast<int>(left));
        if (ready < 0 && errno == EINTR) {
            continue;
        }
        if (ready <= 0) {
            return false;
        }
        char bytes[4096];
        const ssize_t count = read(file, bytes, sizeof bytes);
        if (count <= 0) {
            return true;
        }
        message.append(bytes, static_cast<std::size_t>(count));
    }
}

void ReadMessage(const std::string& message, CheckResult& result) {
    result.outcome = message[0] == kPassed   ? Outcome::Passed
                     : message[0] == kFailed ? Outcome::Failed
                                             : Outcome::NotLoaded;
    result.expected = message.c_str() + 1;
    result.found = message.c_str() + 2 + result.expected.size();
}

void ExplainEnd(int status, const RunLimits& limits, CheckResult& result) {
    result.expected = "the check to come to its end";
    if (WIFSIGNALED(status) && WTERMSIG(status) == SIGXCPU) {
        result.outcome = Outcome::Hung;
        result.found = "nothing after " + std::to_string(limits.cpuSeconds) + " seconds of computing";
    } else if (WIFSIGNALED(status)) {
        result.outcome = Outcome::Crashed;
        result.found =
            std::string("signal ") + std::to_string(WTERMSIG(status)) + " (" + strsignal(WTERMSIG(status)) + ")";
    } else {
        result.outcome = Outcome::Crashed;
        result.found = "an exit of the process with code " + std::to_string(WEXITSTATUS(status));
    }
}

int WaitFor(pid_t process) {
    int status = 0;
    while (waitpid(process, &status, 0) < 0 && errno == EINTR) {
    }
    return status;
}

// A whole message: its letter and two texts.
bool IsWhole(const std::string& message) {
    return !message.empty() && std::count(message.begin(), message.end(), '\0') == 2;
}

void Collect(pid_t process, int file, const RunLimits& limits, CheckResult& result) {
    std::string message;
    const bool isInTime = Receive(file, limits.wallSeconds, message);
    if (!isInTime) {
        kill(process, SIGKILL);
    }
    const int status = WaitFor(process);
    if (!isInTime) {
        result.outcome = Outcome::Hung;
        result.expected = "the check to come to its end";
        result.found = "nothing after " + std::to_string(limits.wallSeconds) + " seconds";
    } else if (IsWhole(message) && WIFEXITED(status) && WEXITSTATUS(status) == 0) {
        ReadMessage(message, result);
    } else {
        ExplainEnd(status, limits, result);
    }
}

}  // namespace

const char* NameOf(Outcome outcome) { return kOutcomeNames[static_cast<std::size_t>(outcome)]; }

CheckResult RunCheck(const Check& check, const std::string& modulePath, const RunLimits& limits) {
    CheckResult result{check.topic, check.name, check.demand, Outcome::Passed, "", ""};
    const Pipe channel;
    const pid_t process = fork();
    if (process < 0) {
        throw std::system_error(errno, std::generic_category(), "fork");
    }
    if (process == 0) {
        close(channel.readEnd);
        BeTheCheck(check, modulePath, limits, channel.writeEnd);
    }
    close(channel.writeEnd);
    Collect(process, channel.readEnd, limits, result);
    close(channel.readEnd);
    return result;
}

}  // namespace flash::host::validator
