// Broken modules by their bug, and what the validator says of them.
#pragma once

#include <filesystem>
#include <string>

#include "validator/ValidatePlugin.h"

namespace flash::validator {

// The broken module with this bug, which goes by its name.
inline ValidatePluginOptions OptionsFor(const std::string& bug) {
    ValidatePluginOptions options;
    options.modulePath = BROKEN_FOLDER + bug + MODULE_ENDING;
    std::error_code isThereAlready;
#if defined(_WIN32)
    std::filesystem::create_hard_link(BROKEN_FOLDER "BrokenModule" MODULE_ENDING, options.modulePath, isThereAlready);
#else
    std::filesystem::create_symlink("BrokenModule" MODULE_ENDING, options.modulePath, isThereAlready);
#endif
    options.limits.cpuSeconds = 4;
    return options;
}

inline ValidationReport Validate(const ValidatePluginOptions& options, bool isInterrupted = false) {
    return ValidatePlugin(
        options, [](const CheckResult&) {}, isInterrupted);
}

}  // namespace flash::validator
