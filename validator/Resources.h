// What a process holds: live memory, open handles, threads. Two measurements tell whether work in between left
// something.
#pragma once

#include <cstddef>

namespace flash::validator {

struct Resources {
    std::size_t liveBytes = 0;  // of the heap
    std::size_t handles = 0;
    std::size_t threads = 0;
    bool operator==(const Resources&) const = default;
};

// Throws `NotPossible`.
Resources MeasureResources();

std::size_t CountThreads();  // of this process

}  // namespace flash::validator
