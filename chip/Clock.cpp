// How time passes: the core runs, the controller's operations end, and whatever they ask for happens.
#include <algorithm>
#include <utility>

#include "chip/Machine.h"

namespace flash::chip {
namespace {

void RequireDuration(Nanoseconds duration) {
    if (duration < Nanoseconds::zero()) {
        throw ChipError("Time does not run backwards.");
    }
}

}  // namespace

void VirtualChip::Machine::Pause(Nanoseconds duration) {
    RequireDuration(duration);
    const Nanoseconds start = now;
    AdvanceTo(After(duration));
    log.Add({EventKind::Pause, 0, 0, start, now, {}});
}

bool VirtualChip::Machine::PauseWhileWordIs(std::uint32_t address, std::uint32_t value, Nanoseconds bound) {
    RequireDuration(bound);
    if (address % 4 != 0 || Find(address, 4).region != Region::Sram) {
        throw ChipError("Only an aligned word of SRAM can be watched.");
    }
    const auto hasChanged = [&] { return isPowered && !isDebugPortDisabled && PeekWord(address) != value; };
    const Nanoseconds start = now;
    const Nanoseconds deadline = After(bound);
    core->WatchWord(address, 4);
    while (now < deadline && !hasChanged()) {
        Step(deadline);
    }
    core->WatchWord(0, 0);
    log.Add({EventKind::Pause, 0, 0, start, now, {}});
    return hasChanged();
}

bool VirtualChip::Machine::PauseUntil(const std::function<bool()>& condition, Nanoseconds bound, Nanoseconds step) {
    RequireDuration(bound);
    if (step <= Nanoseconds::zero()) {
        throw ChipError("A pause needs steps longer than nothing.");
    }
    const Nanoseconds deadline = After(bound);
    while (!condition()) {
        if (now >= deadline) {
            return false;
        }
        Pause(std::min(step, deadline - now));
    }
    return true;
}

Nanoseconds VirtualChip::Machine::After(Nanoseconds duration) const {
    return duration > Nanoseconds::max() - now ? Nanoseconds::max() : now + duration;
}

void VirtualChip::Machine::AdvanceTo(Nanoseconds target) {
    while (now < target) {
        Step(target);
    }
}

// To the target, or to something that happens before.
void VirtualChip::Machine::Step(Nanoseconds target) {
    Nanoseconds reached = std::min(target, controller->NextEvent());
    if (state == CoreState::Running) {
        reached = core->RunUntil(std::min(reached, controller->WatchdogBites(runStart)));
    }
    now = std::max(now, reached);
    if (const std::optional<SramWrite> write = core->TakeObservedWrite()) {
        observer(*write);
    }
    if (state == CoreState::Running && core->TakeBreakpoint()) {
        StopCore(CoreState::Halted);
    }
    if (const std::optional<CoreTrouble> trouble = core->TakeTrouble()) {
        log.AddViolation(trouble->violation, trouble->address, now);
        LockUp(trouble->address, trouble->text);
    }
    Obey(std::exchange(pendingSignals, {}));
    Obey(controller->AdvanceTo(now));
    if (now >= controller->WatchdogBites(runStart)) {
        LetTheWatchdogBite();
    }
}

void VirtualChip::Machine::LetTheWatchdogBite() {
    if (state == CoreState::Running) {
        log.AddViolation(Violation::WatchdogBite, core->Register(CoreRegister::Pc), now);
        Reset();
    }
}

void VirtualChip::Machine::Obey(const ControllerSignals& signals) {
    if (signals.coreStops) {
        LockUp(core->Register(CoreRegister::Pc), "The core stopped answering.");
    }
    if (signals.watchdogBites) {
        LetTheWatchdogBite();
    }
    if (signals.powerIsLost) {
        LosePower();
    }
}

void VirtualChip::Machine::LockUp(std::uint32_t address, const std::string& text) {
    if (state == CoreState::Running) {
        StopCore(CoreState::LockedUp);
        troubleText = text;
        log.AddInstant(EventKind::LockUp, now, address, 0, text);
    }
}

void VirtualChip::Machine::StopCore(CoreState next) {
    if (state == CoreState::Running) {
        log.Add({EventKind::CoreRuns, runAddress, 0, runStart, now, {}});
    }
    state = next;
}

}  // namespace flash::chip
