// What an operation must answer when one of its host calls fails: the host's own text, or the one that stands for it.
// Written from the rules of the host services, call by call, and not from the plug-in's code.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tests/system/scenarios/Scenario.h"

namespace flash::test {

struct Fault {
    std::size_t index;  // of the first call that fails, from 0
    bool isLasting;     // all later ones fail too
    std::string text;

    std::string TextOfCall(std::size_t failed) const {
        return failed == index ? text : text + " +" + std::to_string(failed - index);
    }
};

struct FaultOutcome {
    std::optional<std::string> error;         // none: as without the fault, whatever else that changes
    std::optional<std::string> detailedLine;  // printed first
    std::size_t calls = 0;                    // with an error: all that are made, the failing one and its line included
};

FaultOutcome ExpectedOutcome(const Fault& fault, const std::vector<HostCall>& calls, const Scenario& scenario);

}  // namespace flash::test
