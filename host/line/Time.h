// Points in time, as records and the pool keep them: "2026-11-22T07:10:41Z". As texts they sort by age.
#pragma once

#include <chrono>
#include <functional>
#include <string>

namespace flash::host::line {

// Handed in, so that tests need not wait.
using Clock = std::function<std::chrono::system_clock::time_point()>;

std::string UtcText(std::chrono::system_clock::time_point time);

}  // namespace flash::host::line
