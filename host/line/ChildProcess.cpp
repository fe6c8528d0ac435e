// posix_spawn, pipes and poll.
#include "host/line/ChildProcess.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <system_error>
#include <utility>

#include "host/Failure.h"

namespace flash::host::line {
namespace {

constexpr std::size_t kMostComplaints = 4096;
constexpr std::size_t kAtOnce = 65536;  // so that one that says much does not keep the others waiting

struct Pipe {
    Pipe() {
        int ends[2];
        if (pipe2(ends, O_CLOEXEC) != 0) {
            throw std::system_error(errno, std::generic_category());
        }
        reading = ends[0];
        writing = ends[1];
        fcntl(reading, F_SETFL, O_NONBLOCK);
    }
    ~Pipe() {
        close(writing);
        if (reading >= 0) {
            close(reading);
        }
    }
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;

    int Release() { return std::exchange(reading, -1); }

    int reading, writing;
};

// The signals that this program treats in its own way are again what they are to any program.
class SpawnAttributes {
public:
    SpawnAttributes() {
        posix_spawnattr_init(&attributes);
        sigset_t usual, none;
        sigemptyset(&usual);
        sigemptyset(&none);
        for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGPIPE, SIGXFSZ, SIGQUIT}) {
            sigaddset(&usual, signal);
        }
        posix_spawnattr_setsigdefault(&attributes, &usual);
        posix_spawnattr_setsigmask(&attributes, &none);
        posix_spawnattr_setpgroup(&attributes, 0);
        posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETPGROUP);
    }
    ~SpawnAttributes() { posix_spawnattr_destroy(&attributes); }
    SpawnAttributes(const SpawnAttributes&) = delete;
    SpawnAttributes& operator=(const SpawnAttributes&) = delete;

    posix_spawnattr_t attributes;
};

class FileActions {
public:
    FileActions(int output, int errors) {
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
        posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
        posix_spawn_file_actions_adddup2(&actions, errors, STDERR_FILENO);
    }
    ~FileActions() { posix_spawn_file_actions_destroy(&actions); }
    FileActions(const FileActions&) = delete;
    FileActions& operator=(const FileActions&) = delete;

    posix_spawn_file_actions_t actions;
};

pid_t Spawn(const std::vector<std::string>& words, int output, int errors) {
    std::vector<char*> arguments;
    for (const std::string& word : words) {
        arguments.push_back(const_cast<char*>(word.c_str()));
    }
    arguments.push_back(nullptr);
    const FileActions files(output, errors);
    const SpawnAttributes attributes;
    pid_t process = -1;
    const int error =
        posix_spawnp(&process, arguments.front(), &files.actions, &attributes.attributes, arguments.data(), environ);
    if (error != 0) {
        throw std::system_error(error, std::generic_category());
    }
    return process;
}

}  // namespace

std::string ProcessEnd::Text() const {
    return signal == 0 ? fmt::format("ended with exit code {}", exitCode)
                       : fmt::format("was ended by signal {} ({})", signal, strsignal(signal));
}

ChildProcess::ChildProcess(const std::vector<std::string>& words) {
    try {
        Pipe outputPipe, errorPipe;
        process = Spawn(words, outputPipe.writing, errorPipe.writing);
        output = outputPipe.Release();
        errors = errorPipe.Release();
    } catch (const std::system_error& error) {
        throw Failure(FailureKind::Operation,
                      fmt::format("Cannot start {}: {}", words.front(), error.code().message()));
    }
    handle = static_cast<int>(syscall(SYS_pidfd_open, process, 0));
}

ChildProcess::~ChildProcess() {
    if (!End()) {
        Kill();
        waitpid(process, nullptr, 0);
    }
    for (const int file : {handle, output, errors}) {
        if (file >= 0) {
            close(file);
        }
    }
}

std::string ChildProcess::Take(int& pipe) {
    std::string taken;
    std::array<char, 4096> buffer{};
    while (pipe >= 0 && taken.size() < kAtOnce) {
        const ssize_t count = read(pipe, buffer.data(), buffer.size());
        if (count > 0) {
            taken.append(buffer.data(), static_cast<std::size_t>(count));
            continue;
        }
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count == 0 || errno != EAGAIN) {
            close(std::exchange(pipe, -1));
        }
        break;
    }
    return taken;
}

std::string ChildProcess::TakeOutput() { return Take(output); }

const std::string& ChildProcess::Complaints() {
    complaints += Take(errors);
    if (complaints.size() > kMostComplaints) {
        complaints.erase(0, complaints.size() - kMostComplaints);
    }
    return complaints;
}

std::optional<ProcessEnd> ChildProcess::End() {
    siginfo_t info{};
    if (end || waitid(P_PID, static_cast<id_t>(process), &info, WEXITED | WNOHANG | WNOWAIT) != 0 || info.si_pid == 0) {
        return end;
    }
    kill(-process, SIGKILL);  // what it has started and left; its group is its own until it is waited for
    int status = 0;
    if (waitpid(process, &status, 0) == process) {
        end = WIFSIGNALED(status) ? ProcessEnd{0, WTERMSIG(status)} : ProcessEnd{WEXITSTATUS(status), 0};
    }
    return end;
}

void ChildProcess::AskToEnd() const {
    if (!end) {
        kill(-process, SIGTERM);
    }
}

void ChildProcess::Kill() const {
    if (!end) {
        kill(-process, SIGKILL);
    }
}

void ChildProcess::AddTo(std::vector<pollfd>& watched) const {
    for (const int file : {handle, output, errors}) {
        if (file >= 0) {
            watched.push_back({file, POLLIN, 0});
        }
    }
}

}  // namespace flash::host::line
