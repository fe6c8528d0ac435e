// An orphan that is ended may leave orphans of its own, so this goes on until there are none.
#include "validator/Orphans.h"

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <system_error>

namespace flash::validator {
namespace {

std::optional<pid_t> ProcessOf(const std::string& name) {
    pid_t process = 0;
    const auto [end, error] = std::from_chars(name.data(), name.data() + name.size(), process);
    return error == std::errc() && end == name.data() + name.size() ? std::optional(process) : std::nullopt;
}

// Of "17 (a name) S 4 …" the 4. The name may hold anything.
pid_t ParentIn(const std::string& status) {
    constexpr std::size_t kFromNameToParent = 4;  // ") S "
    const std::size_t name = status.rfind(')');
    const std::size_t begin = name == std::string::npos ? status.size() : name + kFromNameToParent;
    pid_t parent = 0;
    if (begin < status.size()) {
        std::from_chars(status.data() + begin, status.data() + status.size(), parent);
    }
    return parent;
}

std::set<pid_t> Children() {
    std::set<pid_t> children;
    std::error_code error;
    for (std::filesystem::directory_iterator entry("/proc", error), end; !error && entry != end;
         entry.increment(error)) {
        if (const std::optional<pid_t> process = ProcessOf(entry->path().filename().string())) {
            std::ifstream file(entry->path() / "stat");
            std::string status;
            std::getline(file, status, '\0');  // nothing of a process that has just gone
            if (ParentIn(status) == getpid()) {
                children.insert(*process);
            }
        }
    }
    return children;
}

}  // namespace

Orphans::Orphans() : before(Children()) { prctl(PR_SET_CHILD_SUBREAPER, 1); }

void Orphans::End() const {
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
