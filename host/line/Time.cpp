#include "host/line/Time.h"

#include <fmt/chrono.h>

namespace flash::host::line {

std::string UtcText(std::chrono::system_clock::time_point time) {
    return fmt::format("{:%Y-%m-%dT%H:%M:%SZ}", fmt::gmtime(std::chrono::system_clock::to_time_t(time)));
}

}  // namespace flash::host::line
