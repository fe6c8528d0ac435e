// Doing one job on a virtual chip again and again, from whatever the flash is made to hold, as a careful host does it:
// with its own copy of what the request does not bring.
#pragma once

#include <memory>
#include <string>

#include "tests/system/hardware_faults/Job.h"

namespace flash::test {

class JobBench {
public:
    explicit JobBench(const Job& work);

    // Flash with this content, just powered up, and nothing armed.
    void Place(const Bytes& flash);

    // Each does the work once and returns the first error, or nothing for success.
    std::string Run();
    std::string Repeat();  // after a run that failed: first puts back what the host kept

    Bytes Flash() const { return bench->FlashAt(0, job.FlashBytes()); }
    std::uint64_t Operations() const { return bench->chip.GetCounters().flashOperations; }
    // The faults that came true so far.
    std::size_t Faults() const;
    // Reads the ranges as a debugger does. The first byte that differs, in words, or nothing.
    std::string ReadBack(const std::vector<ByteRange>& ranges, const Bytes& expected);

    chip::VirtualChip& Chip() { return bench->chip; }

private:
    void MakeBench();
    std::string PutBack();
    std::string Failures(std::string error) const;

    const Job& job;
    std::map<std::string, std::string> usualSettings;
    std::unique_ptr<ChipOnBench> bench;
    std::size_t placed = 0;
};

}  // namespace flash::test
