// The order of a host's calls on one device, and what it gives to them. Values only: no device, no services.
#pragma once

#include <cstdint>
#include <set>
#include <string>

#include "validator/hostcheck/Findings.h"

namespace flash::hostcheck {

// What a write is told by the host's settings.
struct WriteSettings {
    std::string erase;
    bool isCcfgKept = false;
};

struct WriteRange {
    const unsigned char* data;
    std::uint64_t address;
    std::uint32_t lengthBytes;
    std::uint64_t End() const { return address + lengthBytes; }
};

class CallWatch {
public:
    CallWatch(Findings& found, std::uint32_t sectorSizeBytes) : findings(found), sectorBytes(sectorSizeBytes) {}

    // Before the device is asked. `flashBytes`: 0 while the size is not known.
    void OnInitialize();
    void OnAddress(std::uint64_t address);
    void OnWrite(const WriteRange& range, const WriteSettings& settings, std::uint64_t flashBytes);
    void OnExecute(const char* name, const std::string& names);
    void OnPhase(std::int64_t phase);
    void OnRelease();
    // Behind it.
    void OnInitialized(bool hasSucceeded);
    void OnWritten(bool hasSucceeded);
    void OnPhaseEnded(std::int64_t phase, bool hasSucceeded);

    bool IsInLoad() const { return isInLoad; }

private:
    void OnAnyWork(const char* operation);
    void OnRange(const WriteRange& range, std::uint64_t flashBytes);
    void OnSectors(const WriteRange& range, const WriteSettings& settings, std::uint64_t flashBytes);

    Findings& findings;
    const std::uint32_t sectorBytes;
    bool isInitialized = false;
    bool hasInitializeFailed = false;
    bool isInLoad = false;
    bool hasPhaseOneFailed = false;
    bool hasWriteFailed = false;
    std::uint64_t lastEnd = 0;        // of the writes of this load
    bool hasWritten = false;          // in this load
    bool hasErasedListed = false;     // in this load
    std::set<std::uint64_t> sectors;  // of this load's earlier writes
};

}  // namespace flash::hostcheck
