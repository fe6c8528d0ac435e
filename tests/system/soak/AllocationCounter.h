// Counts what lives on the heap of this program and of the modules that it loads: all of it goes through the counting
// `operator new` of this program. Exact to the byte, unlike the C library's own count.
#pragma once

#include <cstddef>

namespace flash::test {

struct LiveAllocations {
    std::size_t blocks = 0;
    std::size_t bytes = 0;
    bool operator==(const LiveAllocations&) const = default;
};

LiveAllocations CountLiveAllocations();

}  // namespace flash::test
