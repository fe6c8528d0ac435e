// Runs one check in a process of its own, so that a crash, a hang or an exit of the plug-in is only that check's
// result.
#pragma once

#include <atomic>
#include <optional>
#include <string>

#include "validator/Check.h"
#include "validator/CheckProcess.h"

namespace flash::validator {

enum class Outcome { Passed, Failed, Crashed, Hung, NotLoaded, NotReached };

struct CheckResult {
    const char* topic = "";
    const char* name = "";
    const char* demand = "";
    Outcome outcome = Outcome::Passed;
    std::string expected;  // of a check that did not pass
    std::string found;     // or why it was not reached
    double seconds = 0;
};

// Nothing when it is interrupted. Whatever the plug-in started is ended, too.
std::optional<CheckResult> RunCheck(const Check& check, const std::string& modulePath, const RunLimits& limits,
                                    const std::atomic<bool>& isInterrupted);

const char* NameOf(Outcome outcome);

// A broken promise: neither kept nor not reached.
bool IsBroken(const CheckResult& result);

}  // namespace flash::validator
