#include "chip/VirtualChip.h"

#include <utility>

#include "chip/Machine.h"
#include "chip/SavedState.h"

namespace flash::chip {

VirtualChip::VirtualChip(const Settings& settings) : machine(std::make_unique<Machine>(settings)) {}
VirtualChip::VirtualChip(const Settings& settings, std::unique_ptr<Controller> controller)
    : machine(std::make_unique<Machine>(settings, std::move(controller))) {}
VirtualChip::~VirtualChip() = default;
VirtualChip::VirtualChip(VirtualChip&&) noexcept = default;
VirtualChip& VirtualChip::operator=(VirtualChip&&) noexcept = default;

void VirtualChip::ReadMemory(std::uint32_t address, std::span<std::uint8_t> bytes, std::uint32_t elementSize) {
    machine->ReadMemory(address, bytes, elementSize);
}

void VirtualChip::WriteMemory(std::uint32_t address, std::span<const std::uint8_t> bytes, std::uint32_t elementSize) {
    machine->WriteMemory(address, bytes, elementSize);
}

std::uint32_t VirtualChip::ReadWord(std::uint32_t address) {
    std::array<std::uint8_t, 4> bytes{};
    ReadMemory(address, bytes, 4);
    return std::uint32_t{bytes[0]} | std::uint32_t{bytes[1]} << 8 | std::uint32_t{bytes[2]} << 16 |
           std::uint32_t{bytes[3]} << 24;
}

void VirtualChip::WriteWord(std::uint32_t address, std::uint32_t value) {
    const std::array<std::uint8_t, 4> bytes = {static_cast<std::uint8_t>(value), static_cast<std::uint8_t>(value >> 8),
                                               static_cast<std::uint8_t>(value >> 16),
                                               static_cast<std::uint8_t>(value >> 24)};
    WriteMemory(address, bytes, 4);
}

std::uint32_t VirtualChip::ReadCoreRegister(CoreRegister number) { return machine->ReadCoreRegister(number); }

void VirtualChip::WriteCoreRegister(CoreRegister number, std::uint32_t value) {
    machine->WriteCoreRegister(number, value);
}

void VirtualChip::Halt() { machine->Halt(); }
void VirtualChip::Run() { machine->Run(); }
bool VirtualChip::IsRunning() { return machine->IsRunning(); }
std::uint32_t VirtualChip::ReadIdentificationCode() { return machine->ReadIdentificationCode(); }

void VirtualChip::Pause(Nanoseconds duration) { machine->Pause(duration); }

bool VirtualChip::PauseWhileWordIs(std::uint32_t address, std::uint32_t value, Nanoseconds bound) {
    return machine->PauseWhileWordIs(address, value, bound);
}

bool VirtualChip::PauseUntil(const std::function<bool()>& condition, Nanoseconds bound, Nanoseconds step) {
    return machine->PauseUntil(condition, bound, step);
}

Nanoseconds VirtualChip::Now() const { return machine->now; }

void VirtualChip::PowerOff() { machine->PowerOff(); }
void VirtualChip::PowerOn() { machine->PowerOn(); }

void VirtualChip::PowerCycle() {
    PowerOff();
    PowerOn();
}

void VirtualChip::Reset() { machine->Reset(); }
void VirtualChip::Restart() { machine->Restart(); }
void VirtualChip::Allow(Execution execution) { machine->Allow(execution); }
void VirtualChip::InsertBreakpoint(std::uint32_t address) { machine->InsertBreakpoint(address); }
void VirtualChip::RemoveBreakpoint(std::uint32_t address) { machine->RemoveBreakpoint(address); }
void VirtualChip::StepInstruction() { machine->StepInstruction(); }
bool VirtualChip::PauseWhileRunning(Nanoseconds bound) { return machine->PauseWhileRunning(bound); }
const std::string& VirtualChip::TroubleText() const { return machine->troubleText; }
bool VirtualChip::IsPowered() const { return machine->isPowered; }
bool VirtualChip::IsDebugPortDisabled() const { return machine->isDebugPortDisabled; }

void VirtualChip::Arm(Fault fault, std::uint64_t at) { machine->Arm(fault, at); }

void VirtualChip::ArmBitThatWillNotProgram(std::uint32_t address, unsigned bit) {
    machine->ArmBit(&FlashArray::WeakenBit, address, bit);
}
void VirtualChip::ArmBitThatFlips(std::uint32_t address, unsigned bit) {
    machine->ArmBit(&FlashArray::FlipBit, address, bit);
}

void VirtualChip::DisarmAll() {
    machine->faults.DisarmAll();
    machine->flashArray.HealBits();
}

CoreState VirtualChip::State() const { return machine->state; }
const Settings& VirtualChip::GetSettings() const { return machine->settings; }
std::uint32_t VirtualChip::SectorSize() const { return machine->flashArray.SectorSize(); }
std::uint32_t VirtualChip::FlashBytes() const { return machine->flashArray.Length(); }
std::uint32_t VirtualChip::RamBytes() const { return machine->settings.ramBytes; }
std::span<const std::uint8_t> VirtualChip::Flash() const { return std::as_const(machine->flashArray).Bytes(); }

std::vector<std::uint8_t> VirtualChip::PeekMemory(std::uint32_t address, std::uint32_t length) const {
    return machine->PeekMemory(address, length);
}

std::uint32_t VirtualChip::PeekWord(std::uint32_t address) const { return machine->PeekWord(address); }

void VirtualChip::PlaceInFlash(std::uint32_t address, std::span<const std::uint8_t> bytes) {
    machine->PlaceInFlash(address, bytes);
}

const Counters& VirtualChip::GetCounters() const { return machine->GetCounters(); }

std::uint64_t VirtualChip::Count(Violation violation) const { return machine->log.Count(violation); }

std::uint64_t VirtualChip::ViolationTotal() const {
    std::uint64_t total = 0;
    for (const std::uint64_t count : machine->log.counters.violations) {
        total += count;
    }
    return total;
}

const std::vector<Event>& VirtualChip::Timeline() const { return machine->log.timeline; }
std::uint64_t VirtualChip::TimelineHash() const { return HashOf(machine->log.timeline); }
std::string VirtualChip::TimelineJson() const { return TraceJson(machine->log); }

void VirtualChip::AddNote(std::string text, Nanoseconds start, Nanoseconds end) {
    machine->log.Add({EventKind::Note, 0, 0, start, end, std::move(text)});
}

void VirtualChip::NameLane(UserLane lane, std::string name) {
    machine->log.laneNames[static_cast<std::size_t>(lane)] = std::move(name);
}

void VirtualChip::AddToLane(UserLane lane, std::uint32_t address, std::uint32_t length, Nanoseconds start,
                            std::string text) {
    const EventKind kind = lane == UserLane::First ? EventKind::InFirstLane : EventKind::InSecondLane;
    machine->log.Add({kind, address, length, start, Now(), std::move(text)});
}

void VirtualChip::ObserveSram(std::uint32_t address, std::uint32_t length,
                              std::function<void(const SramWrite&)> observer) {
    machine->ObserveSram(address, length, std::move(observer));
}

std::vector<std::uint8_t> VirtualChip::SaveState() const {
    const FlashArray& flash = machine->flashArray;
    return EncodeState(machine->settings, flash.Bytes(), flash.Programmed());
}

VirtualChip VirtualChip::FromSavedState(std::span<const std::uint8_t> state) { return VirtualChip(DecodeState(state)); }

}  // namespace flash::chip
