// What the system counts of this process. Wine counts no handles.
#include <windows.h>

#include <tlhelp32.h>

#include <vector>

#include "validator/Expectation.h"
#include "validator/Resources.h"

namespace flash::validator {
namespace {

std::size_t BytesOf(HANDLE heap) {
    std::size_t bytes = 0;
    PROCESS_HEAP_ENTRY entry{};
    while (HeapWalk(heap, &entry) != 0) {
        bytes += (entry.wFlags & PROCESS_HEAP_ENTRY_BUSY) != 0 ? entry.cbData : 0;
    }
    if (GetLastError() != ERROR_NO_MORE_ITEMS) {
        throw NotPossible{"this system does not let heaps be walked through"};
    }
    return bytes;
}

// The module's runtime may have a heap of its own.
std::size_t LiveBytes() {
    std::vector<HANDLE> heaps(GetProcessHeaps(0, nullptr));
    heaps.resize(GetProcessHeaps(static_cast<DWORD>(heaps.size()), heaps.data()));
    std::size_t bytes = 0;
    for (const HANDLE heap : heaps) {
        bytes += BytesOf(heap);
    }
    return bytes;
}

std::size_t HandleCount() {
    DWORD handles = 0;
    return GetProcessHandleCount(GetCurrentProcess(), &handles) != 0 ? handles : 0;
}

// Nothing where one more is not seen.
std::optional<std::size_t> CountHandles() {
    const std::size_t before = HandleCount();
    const HANDLE more = CreateEventA(nullptr, FALSE, FALSE, nullptr);
    const bool isSeen = HandleCount() == before + 1;
    CloseHandle(more);
    return isSeen ? std::optional(before) : std::nullopt;
}

}  // namespace

std::size_t CountThreads() {
    const HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
    if (snapshot == INVALID_HANDLE_VALUE) {
        throw NotPossible{"this system does not tell a process's threads"};
    }
    std::size_t count = 0;
    THREADENTRY32 entry{};
    entry.dwSize = sizeof entry;
    for (BOOL isOne = Thread32First(snapshot, &entry); isOne != 0; isOne = Thread32Next(snapshot, &entry)) {
        count += entry.th32OwnerProcessID == GetCurrentProcessId() ? 1U : 0U;
    }
    CloseHandle(snapshot);
    return count;
}

Resources MeasureResources() { return {LiveBytes(), CountHandles(), CountThreads()}; }

}  // namespace flash::validator
