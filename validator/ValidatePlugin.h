// Every named check against a module, through its binary interface alone: what `validate-plugin` does, alone and as a
// command of lumoflash.
#pragma once

#include <atomic>
#include <functional>
#include <string>
#include <vector>

#include "validator/CheckRunner.h"

namespace flash::validator {

struct ValidatePluginOptions {
    std::string modulePath;
    std::vector<std::string> checkNames;  // empty: all of the level
    Level level = Level::Everything;
    bool isListing = false;  // only say which checks there are; no module is needed
    RunLimits limits;
};

struct ValidationReport {
    std::string modulePath;
    std::string loadError;             // empty: the module was loaded
    std::vector<CheckResult> results;  // of all that were asked for
    bool wasInterrupted = false;

    std::size_t PassedCount() const;
    std::size_t BrokenCount() const;
    std::size_t ReachedCount() const { return PassedCount() + BrokenCount(); }
    // "101 of 102 checks passed"; and "; 1 not reached".
    std::string Verdict() const;
};

// Is told of each check as it ends.
using CheckListener = std::function<void(const CheckResult&)>;

// Those that the options ask for. Throws `std::invalid_argument` for a check name that there is not.
std::vector<Check> ChecksFor(const ValidatePluginOptions& options);

// Throws as `ChecksFor` does.
ValidationReport ValidatePlugin(const ValidatePluginOptions& options, const CheckListener& listener,
                                const std::atomic<bool>& isInterrupted);

}  // namespace flash::validator
