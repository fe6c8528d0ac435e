// Runs one check in a process of its own, so that a crash, a hang or an exit of the plug-in is only that check's
// result.
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

enum class Outcome { Passed, Failed, Crashed, Hung, NotLoaded };

struct CheckResult {
    const char* topic = "";
    const char* name = "";
    const char* demand = "";
    Outcome outcome = Outcome::Passed;
    std::string expected;  // of a check that did not pass
    std::string found;
};

// Nothing when it is interrupted. Whatever the plug-in started is ended, too.
std::optional<CheckResult> RunCheck(const Check& check, const std::string& modulePath, const RunLimits& limits,
                                    const std::atomic<bool>& isInterrupted);

const char* NameOf(Outcome outcome);

}  // namespace flash::validator
