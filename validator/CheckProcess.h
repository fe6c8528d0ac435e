// One check in a process of its own: what the system must be able to do for that. There is a file for each system.
#pragma once

#include <atomic>
#include <optional>
#include <string>

#include "validator/Check.h"

namespace flash::validator {

struct RunLimits {
    unsigned cpuSeconds = 10;   // of the check's process
    unsigned wallSeconds = 60;  // for a plug-in that sleeps instead
    unsigned mebibytes = 1024;  // of memory that the check's process uses, with all that it has started
};

enum class End { OfItself, Crash, ComputingOver, TimeOver, MemoryOver, Interrupted };

struct ProcessEnd {
    End end = End::OfItself;
    std::string words;    // of a crash: "signal 11 (Segmentation fault)", "an exit of the process with code 3"
    std::string message;  // what the check has sent, whole or in part
};

// Whatever the plug-in started is ended, too. The limits are of the check's process, but for the memory: that of all.
ProcessEnd RunInProcess(const Check& check, const std::string& modulePath, const RunLimits& limits,
                        const std::atomic<bool>& isInterrupted);

// What the check's process does: the message about it.
std::string Perform(const Check& check, const std::string& modulePath);

// Where a process cannot be made a second time, a check's process is the program itself with other arguments. To be
// called first of all by `main`: gives an exit code when this is such a process.
std::optional<int> RunAsCheck(int argumentCount, char** arguments);

}  // namespace flash::validator
