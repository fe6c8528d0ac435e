// What a plug-in starts and lets go of, wherever it hides: a process that leaves its group and its session becomes an
// orphan when its parent ends, and orphans can be made to come to this process.
#pragma once

#include <sys/types.h>

#include <set>

namespace flash::validator {

// From its making to `End`, orphans come here; `End` ends those that were not there before.
class Orphans {
public:
    Orphans();

    // To be called when no other child that was started since is left.
    void End() const;

private:
    std::set<pid_t> before;
};

}  // namespace flash::validator
