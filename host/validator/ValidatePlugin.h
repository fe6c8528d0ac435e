// The command `lumoflash validate-plugin`: every named check against a module, through its binary interface alone.
#pragma once

#include <iosfwd>
#include <string>
#include <vector>

#include "host/validator/CheckRunner.h"

namespace flash::host {

struct ValidatePluginOptions {
    std::string modulePath;
    std::vector<std::string> checkNames;  // empty: all
    bool isListing = false;               // only say which checks there are; no module is needed
    bool isJson = false;
    validator::RunLimits limits;
};

struct ValidationReport {
    std::string modulePath;
    std::string loadError;  // empty: the module was loaded
    std::vector<validator::CheckResult> results;
    bool HasPassed() const;
};

// Throws `std::invalid_argument` for a check name that there is not.
ValidationReport ValidatePlugin(const ValidatePluginOptions& options);

struct ValidationVerdict {
    int exitCode;  // 0 when all checks pass, 1 when one does not, 4 when the module cannot be loaded
    std::string text;
};

// Runs the command and prints the checks to `output`: text by topic, or one JSON object per check and line. Throws
// `std::invalid_argument` for a check name that there is not.
ValidationVerdict RunValidatePlugin(const ValidatePluginOptions& options, std::ostream& output);

}  // namespace flash::host
