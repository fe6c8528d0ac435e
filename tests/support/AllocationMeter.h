// How much memory some work asks for: the sum of its allocations, which bounds its peak and, roughly, its time. The
// sanitizer's allocator counts; without a sanitizer nothing is counted.
#pragma once

#include <cstddef>

extern "C" __attribute__((weak)) int __sanitizer_install_malloc_and_free_hooks(
    void (*onAllocation)(const volatile void* memory, std::size_t size),
    void (*onRelease)(const volatile void* memory));

namespace flash::test {

class AllocationMeter {
public:
    AllocationMeter() {
        [[maybe_unused]] static const bool isCounting = Install();
        start = total;
    }

    std::size_t Bytes() const { return total - start; }

private:
    static bool Install() {
        const auto count = [](const volatile void*, std::size_t size) { total += size; };
        const auto ignore = [](const volatile void*) {};
        return __sanitizer_install_malloc_and_free_hooks != nullptr &&
               __sanitizer_install_malloc_and_free_hooks(count, ignore) != 0;
    }

    static inline std::size_t total = 0;
    std::size_t start;
};

}  // namespace flash::test
