#include "tests/system/allocations/AllocationGate.h"

#include <cstdlib>
#include <new>

namespace flash::test {
namespace {

struct Gate {
    bool isWatching = false;
    bool isFailing = false;
    bool hasFailed = false;
    Shortage shortage = Shortage::Once;
    std::size_t allocationsLeft = 0;  // until the failure
    std::size_t count = 0;
};

Gate gate;

bool MustFail() {
    if (!gate.isWatching) {
        return false;
    }
    ++gate.count;
    if (!gate.isFailing || --gate.allocationsLeft != 0) {
        return false;
    }
    gate.hasFailed = true;
    gate.isFailing = gate.shortage == Shortage::Lasting;
    gate.allocationsLeft = 1;
    return true;
}

}  // namespace

Watched::Watched() : wasWatching(gate.isWatching) { gate.isWatching = true; }
Watched::~Watched() { gate.isWatching = wasWatching; }

Unwatched::Unwatched() : wasWatching(gate.isWatching) { gate.isWatching = false; }
Unwatched::~Unwatched() { gate.isWatching = wasWatching; }

void FailAllocation(std::size_t n, Shortage shortage) {
    gate.isFailing = true;
    gate.hasFailed = false;
    gate.shortage = shortage;
    gate.allocationsLeft = n;
}

void StopFailingAllocations() { gate.isFailing = false; }

bool HasAllocationFailed() { return gate.hasFailed; }

std::size_t WatchedAllocations() { return gate.count; }

}  // namespace flash::test

void* operator new(std::size_t size) {
    void* memory = flash::test::MustFail() ? nullptr : std::malloc(size == 0 ? 1 : size);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
