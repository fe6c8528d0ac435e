// Chips for tests that kill: what each of them carries stands in one file, which outlives the process that works on it.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>

#include "host/line/Pool.h"

namespace flash::host::line::test {

class ChipFiles {
public:
    ChipFiles(const std::filesystem::path& folder, std::uint64_t count);  // makes erased chips
    ~ChipFiles();
    ChipFiles(const ChipFiles&) = delete;
    ChipFiles& operator=(const ChipFiles&) = delete;

    ChipFacts Read(std::uint64_t chip) const;
    void Erase(std::uint64_t chip) const;
    void Program(std::uint64_t chip, const RadioAddress& address) const;

    // It has left the line as a good one.
    void SetAside(std::uint64_t chip) const;
    bool IsSetAside(std::uint64_t chip) const;

    std::uint64_t Count() const { return count; }

private:
    std::uint64_t count;
    int file;
};

}  // namespace flash::host::line::test
