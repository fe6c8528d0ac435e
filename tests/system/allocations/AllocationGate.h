// This program's `operator new`: counts what the plug-in allocates and fails on demand. What tests and fake hosts
// allocate passes.
#pragma once

#include <cstddef>

namespace flash::test {

// Within it allocations count as the plug-in's.
class Watched {
public:
    Watched();
    ~Watched();
    Watched(const Watched&) = delete;
    Watched& operator=(const Watched&) = delete;

private:
    bool wasWatching;
};

// Within it they do not, again.
class Unwatched {
public:
    Unwatched();
    ~Unwatched();
    Unwatched(const Unwatched&) = delete;
    Unwatched& operator=(const Unwatched&) = delete;

private:
    bool wasWatching;
};

enum class Shortage { Once, Lasting };

// The plug-in's n-th allocation from now on fails (1 is the next one), and in a lasting shortage all later ones.
void FailAllocation(std::size_t n, Shortage shortage);
void StopFailingAllocations();

bool HasAllocationFailed();        // since the last `FailAllocation`
std::size_t WatchedAllocations();  // so far

}  // namespace flash::test
