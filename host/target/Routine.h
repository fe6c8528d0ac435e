// Programs of ours that the target's core runs from SRAM: loaded, called with arguments, run to their end within a
// bound. Nothing of what the core was doing, or of what was in that SRAM, is needed or kept.
#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "host/files/ElfFile.h"
#include "host/files/ProgramImage.h"
#include "host/probe/Probe.h"

namespace flash::host {

// What is wrong with a routine or with its answer; a probe that fails throws its own ProbeError.
class RoutineError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

struct Routine {
    std::string name;  // of its file, for messages
    std::vector<DataRun> runs;
    SymbolTable symbols;

    std::uint32_t Find(std::string_view symbol) const;  // throws RoutineError
};

// Throws RoutineError for a file that is missing or is no program.
Routine ReadRoutine(const std::filesystem::path& file);

struct RoutineCall {
    std::uint32_t entry;  // bit 0 does not matter
    std::uint32_t argumentAddress;
    std::span<const std::uint8_t> arguments;  // the word at `doneAddress` among them, 0
    std::uint32_t doneAddress;                // no longer 0 when the routine is done
    std::chrono::microseconds bound;
};

// Halts the core and brings the routine into SRAM.
void LoadRoutine(Probe& probe, const Routine& routine);

// Calls a loaded routine; the core is halted again afterwards, also when the bound has passed, which is a RoutineError.
void CallRoutine(Probe& probe, const Routine& routine, const RoutineCall& call);

}  // namespace flash::host
