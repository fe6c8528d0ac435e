#include "tests/system/soak/AllocationCounter.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace flash::test {
namespace {

std::atomic<std::size_t> liveBlocks{0};
std::atomic<std::size_t> liveBytes{0};

// Each block is preceded by its size, in a unit that keeps every alignment.
constexpr std::size_t kHeader = alignof(std::max_align_t);

void* Allocate(std::size_t size) {
    void* block = std::malloc(size + kHeader);
    if (block == nullptr) {
        throw std::bad_alloc();
    }
    *static_cast<std::size_t*>(block) = size;
    ++liveBlocks;
    liveBytes += size;
    return static_cast<char*>(block) + kHeader;
}

void Free(void* bytes) {
    if (bytes != nullptr) {
        void* block = static_cast<char*>(bytes) - kHeader;
        --liveBlocks;
        liveBytes -= *static_cast<std::size_t*>(block);
        std::free(block);
    }
}

}  // namespace

LiveAllocations CountLiveAllocations() { return {liveBlocks, liveBytes}; }

}  // namespace flash::test

void* operator new(std::size_t size) { return flash::test::Allocate(size); }
void* operator new[](std::size_t size) { return flash::test::Allocate(size); }
void operator delete(void* bytes) noexcept { flash::test::Free(bytes); }
void operator delete[](void* bytes) noexcept { flash::test::Free(bytes); }
void operator delete(void* bytes, std::size_t) noexcept { flash::test::Free(bytes); }
void operator delete[](void* bytes, std::size_t) noexcept { flash::test::Free(bytes); }
