// Watching a word with a probe that has no hardware for it.
#include "host/probe/Probe.h"

#include <algorithm>
#include <array>

#include "host/Numbers.h"

namespace flash::host {
namespace {
constexpr std::chrono::microseconds kWatchInterval{500};
}  // namespace

bool Probe::PauseWhileWordIs(std::uint32_t address, std::uint32_t value, std::chrono::microseconds bound) {
    const std::chrono::nanoseconds end = Now() + bound;
    while (true) {
        std::array<std::uint8_t, 4> bytes{};
        ReadMemory(address, bytes, bytes.size());
        if (LittleEndian(bytes) != value) {
            return true;
        }
        const auto left = std::chrono::duration_cast<std::chrono::microseconds>(end - Now());
        if (left <= std::chrono::microseconds::zero()) {
            return false;
        }
        Pause(std::min(left, kWatchInterval));
    }
}

}  // namespace flash::host
