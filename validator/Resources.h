// What a process holds: live memory, open handles, threads. Two measurements tell whether work in between left
// something.
#pragma once

#include <cstddef>
#include <optional>

namespace flash::validator {

struct Resources {
    std::size_t liveBytes = 0;           // of the heap
    std::optional<std::size_t> handles;  // none: this system does not count them
    std::size_t threads = 0;
    bool operator==(const Resources&) const = default;
};

// Throws `NotPossible`.
Resources MeasureResources();

std::size_t CountThreads();  // of this process

}  // namespace flash::validator
