// Read from /proc.
#include "validator/StartedProcesses.h"

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <map>
#include <optional>
#include <sstream>
#include <string>
#include <system_error>

namespace flash::validator {
namespace {

struct Process {
    pid_t parent = 0;
    std::uint64_t usedPages = 0;
};

using Processes = std::map<pid_t, Process>;

std::optional<pid_t> NumberOf(const std::string& name) {
    pid_t process = 0;
    const auto [end, error] = std::from_chars(name.data(), name.data() + name.size(), process);
    return error == std::errc() && end == name.data() + name.size() ? std::optional(process) : std::nullopt;
}

// Of "17 (a name) S 4 …": the parent is the second field behind the name, the pages in use are the twenty-second. The
// name may hold anything.
Process ReadStatus(const std::string& status) {
    constexpr int kBetweenParentAndPages = 19;
    const std::size_t name = status.rfind(')');
    std::istringstream fields(name == std::string::npos ? "" : status.substr(name + 1));
    Process process;
    std::string skipped;
    fields >> skipped >> process.parent;
    for (int field = 0; field < kBetweenParentAndPages; ++field) {
        fields >> skipped;
    }
    fields >> process.usedPages;
    return process;
}

Processes Snapshot() {
    Processes processes;
    std::error_code error;
    for (std::filesystem::directory_iterator entry("/proc", error), end; !error && entry != end;
         entry.increment(error)) {
        if (const std::optional<pid_t> number = NumberOf(entry->path().filename().string())) {
            std::ifstream file(entry->path() / "stat");
            std::string status;
            std::getline(file, status, '\0');  // nothing of a process that has just gone
            processes[*number] = ReadStatus(status);
        }
    }
    return processes;
}

// The system has a list of each thread's, which is much less to read than all processes.
std::set<pid_t> Children() {
    std::set<pid_t> children;
    for (const auto& thread : std::filesystem::directory_iterator("/proc/self/task")) {
        std::ifstream file(thread.path() / "children");
        for (pid_t child = 0; file >> child;) {
            children.insert(child);
        }
    }
    return children;
}

// The child of this process that it is or descends from. A snapshot takes its time, so parents in it can make a circle.
std::optional<pid_t> ChildAbove(pid_t number, const Processes& processes) {
    for (std::size_t step = 0; step < processes.size(); ++step) {
        const auto found = processes.find(number);
        if (found == processes.end()) {
            return std::nullopt;
        }
        if (found->second.parent == getpid()) {
            return number;
        }
        number = found->second.parent;
    }
    return std::nullopt;
}

}  // namespace

StartedProcesses::StartedProcesses() : before(Children()) { prctl(PR_SET_CHILD_SUBREAPER, 1); }

std::uint64_t StartedProcesses::UsedMebibytes() const {
    const Processes processes = Snapshot();
    std::uint64_t pages = 0;
    for (const auto& [number, process] : processes) {
        const std::optional<pid_t> child = ChildAbove(number, processes);
        pages += child && !before.contains(*child) ? process.usedPages : 0;
    }
    return pages * static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE)) >> 20;
}

void StartedProcesses::End() const {
    for (bool isAnyLeft = true; isAnyLeft;) {
        isAnyLeft = false;
        for (const pid_t child : Children()) {
            if (before.contains(child)) {
                continue;
            }
            isAnyLeft = true;
            kill(child, SIGKILL);
            while (waitpid(child, nullptr, 0) < 0 && errno == EINTR) {
            }
        }
    }
}

}  // namespace flash::validator
