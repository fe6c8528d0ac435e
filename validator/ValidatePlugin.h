// The command `lumoflash validate-plugin`: every named check against a module, through its binary interface alone.
#pragma once

#include <atomic>
#include <functional>
#include <string>
#include <vector>

#include "validator/CheckRunner.h"

namespace flash::validator {

struct ValidatePluginOptions {
    std::string modulePath;
    std::vector<std::string> checkNames;  // empty: all
    bool isListing = false;               // only say which checks there are; no module is needed
    RunLimits limits;
};

struct ValidationReport {
    std::string loadError;  // empty: the module was loaded
    std::vector<CheckResult> results;
    bool wasInterrupted = false;

    std::size_t PassedCount() const;
};

// Is told of each check as it ends.
using CheckListener = std::function<void(const CheckResult&)>;

// Throws `std::invalid_argument` for a check name that there is not.
ValidationReport ValidatePlugin(const ValidatePluginOptions& options, const CheckListener& listener,
                                const std::atomic<bool>& isInterrupted);

}  // namespace flash::validator
