// The chip as a board that is debugged: code in flash, breakpoints, single steps, a start from the vectors.
#include "chip/Machine.h"
#include "chip/MemoryMap.h"

namespace flash::chip {
namespace {
constexpr Nanoseconds kShortestTime{1};  // in which an instruction begins, and no second one
}  // namespace

void VirtualChip::Machine::Allow(Execution execution) {
    core->AllowFlash(execution == Execution::FlashToo ? flashArray.Length() : 0);
}

void VirtualChip::Machine::InsertBreakpoint(std::uint32_t address) {
    if (core->BreakpointCount() == kHardwareBreakpointCount) {
        throw ChipError("The core has no more than " + std::to_string(kHardwareBreakpointCount) + " breakpoints.");
    }
    core->InsertBreakpoint(address & ~kThumbBit);
}

void VirtualChip::Machine::RemoveBreakpoint(std::uint32_t address) { core->RemoveBreakpoint(address & ~kThumbBit); }

void VirtualChip::Machine::StepInstruction() {
    if (!isPowered || state != CoreState::Halted) {
        throw ChipError("Only a halted core with power can execute a single instruction.");
    }
    state = CoreState::Running;
    runStart = now;
    runAddress = core->Register(CoreRegister::Pc);
    core->Start(now);
    AdvanceTo(After(kShortestTime));
    if (state == CoreState::Running) {
        StopCore(CoreState::Halted);
    }
}

bool VirtualChip::Machine::PauseWhileRunning(Nanoseconds bound) {
    const Nanoseconds deadline = After(bound);
    while (now < deadline && state == CoreState::Running) {
        Step(deadline);
    }
    return state != CoreState::Running;
}

void VirtualChip::Machine::Restart() {
    Reset();
    core->SetRegister(CoreRegister::Sp, PeekWord(kFlashBase) & ~3u);
    core->SetRegister(CoreRegister::Pc, PeekWord(kFlashBase + 4) & ~kThumbBit);
    core->SetRegister(CoreRegister::Lr, 0xFFFF'FFFF);
}

}  // namespace flash::chip
