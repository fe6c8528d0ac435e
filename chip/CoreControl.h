// The registers of the core itself that software on it may rely on: the timer, which counts cycles and asks for no
// interrupt, and words that are kept without effect, because there are no exceptions and no protection of memory.
#pragma once

#include <cstdint>
#include <map>
#include <optional>

namespace flash::chip {

class CoreControl {
public:
    CoreControl() { Reset(); }
    void Reset();

    // `cycle` is that of the core's clock, from any start on. Without a value, there is no such register.
    std::optional<std::uint32_t> Load(std::uint32_t address, std::uint64_t cycle) const;
    bool Store(std::uint32_t address, std::uint32_t value, std::uint64_t cycle);

private:
    static constexpr std::uint32_t kTimerEnabled = 1;

    std::uint32_t TimerAt(std::uint64_t cycle) const;

    std::map<std::uint32_t, std::uint32_t> kept;
    // What the timer held at that cycle. While it is enabled it counts down to 0 and begins anew at the reload value.
    std::uint32_t timer = 0;
    std::uint64_t timerCycle = 0;
};

}  // namespace flash::chip
