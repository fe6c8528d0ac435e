// What a plug-in starts, wherever it hides: a process that leaves its group and its session becomes an orphan when its
// parent ends, and orphans can be made to come to this process.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <set>

namespace flash::validator {

// All processes below this one that were not there when this was made. From then on, orphans come here.
class StartedProcesses {
public:
    StartedProcesses();

    // Memory that two of them share counts twice.
    std::uint64_t UsedMebibytes() const;

    // To be called when only orphans are left; an orphan that is ended may leave orphans of its own.
    void End() const;

private:
    std::set<pid_t> before;  // children of this process
};

}  // namespace flash::validator
