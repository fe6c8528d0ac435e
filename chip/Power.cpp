// Power and reset: what is lost, and what the chip samples when it comes up.
#include "chip/Machine.h"
#include "chip/MemoryMap.h"

namespace flash::chip {

void VirtualChip::Machine::PowerOff() {
    if (isPowered) {
        LosePower();
    }
}

void VirtualChip::Machine::PowerOn() {
    if (isPowered) {
        return;
    }
    isPowered = true;
    Allow(Execution::SramOnly);
    isDebugPortDisabled = flashArray.Bytes()[flashArray.Length() - kDisableCpuDapBeforeEnd] == 0x00;
    log.AddInstant(EventKind::PowerOn, now);
    Boot();
}

void VirtualChip::Machine::Reset() {
    if (!isPowered) {
        return;
    }
    controller->Abort(now);
    StopCore(CoreState::Halted);
    log.AddInstant(EventKind::Reset, now);
    Boot();
}

void VirtualChip::Machine::LosePower() {
    controller->Abort(now);
    StopCore(CoreState::Halted);
    isPowered = false;
    log.AddInstant(EventKind::PowerOff, now);
    ObserveSram(0, 0, {});
    sram.Lose(random);
    core->ForgetCode(kSramBase, sram.Length());
}

void VirtualChip::Machine::Boot() {
    controller->PowerUp();
    core->ClearRegisters();
    troubleText.clear();
    coreControl.Reset();
}

}  // namespace flash::chip
