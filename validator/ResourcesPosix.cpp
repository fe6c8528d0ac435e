#include "validator/Resources.h"

#include <dlfcn.h>
#include <malloc.h>

#include <filesystem>
#include <iterator>

namespace flash::validator {
namespace {

// Under a sanitizer the C library's own count stands still, and the sanitizer's is asked.
std::size_t LiveBytes() {
    using Counter = std::size_t (*)();
    static const auto kCounter =
        reinterpret_cast<Counter>(dlsym(RTLD_DEFAULT, "__sanitizer_get_current_allocated_bytes"));
    if (kCounter != nullptr) {
        return kCounter();
    }
    const auto info = mallinfo2();
    return info.uordblks + info.hblkhd;
}

std::size_t CountEntries(const char* folder) {
    const std::filesystem::directory_iterator entries(folder);
    return static_cast<std::size_t>(std::distance(begin(entries), end(entries)));
}

}  // namespace

std::size_t CountThreads() { return CountEntries("/proc/self/task"); }

Resources MeasureResources() {
    const std::size_t handles = CountEntries("/proc/self/fd");
    return {LiveBytes(), handles, CountThreads()};
}

}  // namespace flash::validator
