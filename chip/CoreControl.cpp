#include "chip/CoreControl.h"

#include "chip/MemoryMap.h"

namespace flash::chip {

void CoreControl::Reset() {
    kept = {{kVectorTableRegister, 0},
            {kTimerControlRegister, 0},
            {kTimerReloadRegister, 0},
            {kConfigurationControlRegister, 0},
            {kMemoryProtectionRegister, 0}};
    timer = 0;
}

std::uint32_t CoreControl::TimerAt(std::uint64_t cycle) const {
    if ((kept.at(kTimerControlRegister) & kTimerEnabled) == 0) {
        return timer;
    }
    const std::uint64_t elapsed = cycle - timerCycle;
    const std::uint64_t period = std::uint64_t{kept.at(kTimerReloadRegister)} + 1;
    return elapsed <= timer ? timer - static_cast<std::uint32_t>(elapsed)
                            : static_cast<std::uint32_t>(period - 1 - (elapsed - timer - 1) % period);
}

std::optional<std::uint32_t> CoreControl::Load(std::uint32_t address, std::uint64_t cycle) const {
    if (address == kTimerRegister) {
        return TimerAt(cycle);
    }
    const auto found = kept.find(address);
    return found == kept.end() ? std::nullopt : std::optional(found->second);
}

bool CoreControl::Store(std::uint32_t address, std::uint32_t value, std::uint64_t cycle) {
    const std::uint32_t counted = address == kTimerRegister ? 0 : TimerAt(cycle);  // any write clears the timer
    const auto found = kept.find(address);
    if (address != kTimerRegister && found == kept.end()) {
        return false;
    }
    timer = counted;
    timerCycle = cycle;
    if (found != kept.end()) {
        found->second = address == kTimerReloadRegister ? value & kTimerMask : value;
    }
    return true;
}

}  // namespace flash::chip
