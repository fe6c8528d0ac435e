// One step of the plug-in, run to its real end: the flashloader has finished, and nothing was only reported.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "host/services/PluginServices.h"

namespace flash::host {

// `attempt` says what is tried, for messages; `bytes` are those that the step programs, in that stage. Throws Failure,
// with what the flashloader answered.
void Operate(PluginServices& services, const std::string& attempt, Stage stage, std::uint64_t bytes,
             const std::function<void()>& work);

}  // namespace flash::host
