// The clock of the core: counts cycles since it was started, and knows at which time each begins.
#pragma once

#include <cstdint>

#include "chip/VirtualChip.h"

namespace flash::chip {

class CycleClock {
public:
    explicit CycleClock(std::uint64_t clockHz) : hz(clockHz) {}
    void Start(Nanoseconds now) {
        epoch = now;
        cycles = 0;
    }
    Nanoseconds Now() const {
        const std::uint64_t whole = cycles / hz * kPerSecond;
        return epoch + Nanoseconds(whole + cycles % hz * kPerSecond / hz);
    }
    // The first cycle that does not begin before `time`.
    std::uint64_t CycleAt(Nanoseconds time) const { return time <= epoch ? 0 : CyclesIn(time - epoch); }
    std::uint64_t CyclesIn(Nanoseconds duration) const {
        const auto count = static_cast<std::uint64_t>(duration.count());
        const std::uint64_t rest = count % kPerSecond * hz;
        return count / kPerSecond * hz + (rest + kPerSecond - 1) / kPerSecond;
    }
    std::uint64_t cycles = 0;

private:
    static constexpr std::uint64_t kPerSecond = 1'000'000'000;
    std::uint64_t hz;
    Nanoseconds epoch{0};
};

}  // namespace flash::chip
