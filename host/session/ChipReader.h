// Reading a chip for the host itself, past the plug-in. Everything throws Failure.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <span>
#include <vector>

#include "host/ccfg/Ccfg.h"
#include "host/files/ProgramImage.h"
#include "host/probe/Probe.h"
#include "host/services/Observer.h"

namespace flash::host {

// Throws Failure (Interrupted) as soon as the user has interrupted the work.
void RequireNotInterrupted(const std::atomic<bool>& isInterrupted);

class ChipReader {
public:
    // All three must outlive the reader.
    ChipReader(Probe& chipProbe, Observer& progressObserver, const std::atomic<bool>& interruptFlag)
        : probe(chipProbe), observer(progressObserver), isInterrupted(interruptFlag) {}

    // At once, and told to nobody.
    std::vector<std::uint8_t> Bytes(std::uint32_t address, std::uint32_t lengthBytes);
    LastSector ReadLastSector(const CcfgLayout& layout);
    LastSector ReadFields(const CcfgLayout& layout);  // of the last sector, and CCFG

    // In pieces, told to the observer; an interruption ends it.
    std::vector<std::uint8_t> Read(std::uint32_t address, std::uint32_t lengthBytes);

    // The same, and Failure (Difference) with the first byte that is another one. Returns the number of bytes compared;
    // `totalBytes`, for the message, are those that were to be compared in whatever way.
    std::size_t Compare(const std::vector<DataRun>& expected, std::size_t totalBytes);

private:
    using Take = std::function<void(std::uint32_t address, std::span<const std::uint8_t> bytes)>;
    void ReadPieces(Stage stage, const std::vector<DataRun>& where, const Take& take);

    Probe& probe;
    Observer& observer;
    const std::atomic<bool>& isInterrupted;
};

}  // namespace flash::host
