// How much memory some work asks for: the sum of its allocations, which bounds its peak and, roughly, its time. The
// address sanitizer's allocator counts. A build without it cannot measure: a test that only measures is skipped there.
#pragma once

#include <atomic>
#include <cstddef>
#include <memory>
#include <stdexcept>

#if defined(__SANITIZE_ADDRESS__)
#define FLASH_COUNTS_ALLOCATIONS true
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define FLASH_COUNTS_ALLOCATIONS true
#endif
#endif
#if !defined(FLASH_COUNTS_ALLOCATIONS)
#define FLASH_COUNTS_ALLOCATIONS false
#endif

extern "C" __attribute__((weak)) int __sanitizer_install_malloc_and_free_hooks(
    void (*onAllocation)(const volatile void* memory, std::size_t size),
    void (*onRelease)(const volatile void* memory));

namespace flash::test {

class AllocationMeter {
public:
    static constexpr bool kIsCounting = FLASH_COUNTS_ALLOCATIONS;

    // Throws when this build should count and does not.
    AllocationMeter() {
        if (kIsCounting && !IsInstalled()) {
            throw std::runtime_error("allocations are not counted");
        }
        start = total;
    }

    std::size_t Bytes() const { return total - start; }

private:
    static bool IsInstalled() {
        static const bool isCounting = Install() && SeesAnAllocation();
        return isCounting;
    }
    static bool Install() {
        const auto count = [](const volatile void*, std::size_t size) { total += size; };
        const auto ignore = [](const volatile void*) {};
        return __sanitizer_install_malloc_and_free_hooks != nullptr &&
               __sanitizer_install_malloc_and_free_hooks(count, ignore) != 0;
    }
    static bool SeesAnAllocation() {
        const std::size_t before = total;
        const std::unique_ptr<char[]> memory(new char[kProbeBytes]);
        // Used, or the compiler might leave it out.
        static_cast<volatile char*>(memory.get())[0] = 0;
        return total - before >= kProbeBytes;
    }

    static constexpr std::size_t kProbeBytes = 100;
    // Atomic, or the compiler might hold that no allocation changes it.
    static inline std::atomic<std::size_t> total = 0;
    std::size_t start;
};

}  // namespace flash::test
