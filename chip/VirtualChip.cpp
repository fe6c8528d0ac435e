#include "chip/VirtualChip.h"

#include <utility>

#include "chip/Implementation.h"
#include "chip/SavedState.h"

namespace flash::chip {

VirtualChip::VirtualChip(const Settings& settings) : implementation(std::make_unique<Implementation>(settings)) {}
VirtualChip::~VirtualChip() = default;
VirtualChip::VirtualChip(VirtualChip&&) noexcept = default;
VirtualChip& VirtualChip::operator=(VirtualChip&&) noexcept = default;

void VirtualChip::ReadMemory(std::uint32_t address, std::span<std::uint8_t> bytes, std::uint32_t elementSize) {
    implementation->ReadMemory(address, bytes, elementSize);
}

void VirtualChip::WriteMemory(std::uint32_t address, std::span<const std::uint8_t> bytes, std::uint32_t elementSize) {
    implementation->WriteMemory(address, bytes, elementSize);
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

std::uint32_t VirtualChip::ReadCoreRegister(CoreRegister number) { return implementation->ReadCoreRegister(number); }

void VirtualChip::WriteCoreRegister(CoreRegister number, std::uint32_t value) {
    implementation->WriteCoreRegister(number, value);
}

void VirtualChip::Halt() { implementation->Halt(); }
void VirtualChip::Run() { implementation->Run(); }
bool VirtualChip::IsRunning() { return implementation->IsRunning(); }
std::uint32_t VirtualChip::ReadIdentificationCode() { return implementation->ReadIdentificationCode(); }

void VirtualChip::Pause(Nanoseconds duration) { implementation->Pause(duration); }

bool VirtualChip::PauseWhileWordIs(std::uint32_t address, std::uint32_t value, Nanoseconds bound) {
    return implementation->PauseWhileWordIs(address, value, bound);
}

bool VirtualChip::PauseUntil(const std::function<bool()>& condition, Nanoseconds bound, Nanoseconds step) {
    return implementation->PauseUntil(condition, bound, step);
}

Nanoseconds VirtualChip::Now() const { return implementation->now; }

void VirtualChip::PowerOff() { implementation->PowerOff(); }
void VirtualChip::PowerOn() { implementation->PowerOn(); }

void VirtualChip::PowerCycle() {
    PowerOff();
    PowerOn();
}

void VirtualChip::Reset() { implementation->Reset(); }
void VirtualChip::Restart() { implementation->Restart(); }
void VirtualChip::Allow(Execution execution) { implementation->Allow(execution); }
void VirtualChip::InsertBreakpoint(std::uint32_t address) { implementation->InsertBreakpoint(address); }
void VirtualChip::RemoveBreakpoint(std::uint32_t address) { implementation->RemoveBreakpoint(address); }
void VirtualChip::StepInstruction() { implementation->StepInstruction(); }
bool VirtualChip::PauseWhileRunning(Nanoseconds bound) { return implementation->PauseWhileRunning(bound); }
const std::string& VirtualChip::TroubleText() const { return implementation->troubleText; }
bool VirtualChip::IsPowered() const { return implementation->isPowered; }
bool VirtualChip::IsDebugPortDisabled() const { return implementation->isDebugPortDisabled; }

void VirtualChip::Arm(Fault fault, std::uint64_t at) { implementation->faults.Arm(fault, at); }

void VirtualChip::ArmBitThatWillNotProgram(std::uint32_t address, unsigned bit) {
    implementation->ArmBit(&FlashArray::WeakenBit, address, bit);
}
void VirtualChip::ArmBitThatFlips(std::uint32_t address, unsigned bit) {
    implementation->ArmBit(&FlashArray::FlipBit, address, bit);
}

void VirtualChip::DisarmAll() {
    implementation->faults.DisarmAll();
    implementation->flashArray.HealBits();
}

CoreState VirtualChip::State() const { return implementation->state; }
const Settings& VirtualChip::GetSettings() const { return implementation->settings; }
std::uint32_t VirtualChip::SectorSize() const { return implementation->flashArray.SectorSize(); }
std::uint32_t VirtualChip::FlashBytes() const { return implementation->flashArray.Length(); }
std::uint32_t VirtualChip::RamBytes() const { return implementation->settings.ramBytes; }
std::span<const std::uint8_t> VirtualChip::Flash() const { return std::as_const(implementation->flashArray).Bytes(); }

std::vector<std::uint8_t> VirtualChip::PeekMemory(std::uint32_t address, std::uint32_t length) const {
    return implementation->PeekMemory(address, length);
}

std::uint32_t VirtualChip::PeekWord(std::uint32_t address) const { return implementation->PeekWord(address); }

void VirtualChip::PlaceInFlash(std::uint32_t address, std::span<const std::uint8_t> bytes) {
    implementation->PlaceInFlash(address, bytes);
}

const Counters& VirtualChip::GetCounters() const { return implementation->GetCounters(); }

std::uint64_t VirtualChip::Count(Violation violation) const { return implementation->log.Count(violation); }

std::uint64_t VirtualChip::ViolationTotal() const {
    std::uint64_t total = 0;
    for (const std::uint64_t count : implementation->log.counters.violations) {
        total += count;
    }
    return total;
}

const std::vector<Event>& VirtualChip::Timeline() const { return implementation->log.timeline; }
std::uint64_t VirtualChip::TimelineHash() const { return HashOf(implementation->log.timeline); }
std::string VirtualChip::TimelineJson() const { return TraceJson(implementation->log); }

void VirtualChip::AddNote(std::string text, Nanoseconds start, Nanoseconds end) {
    implementation->log.Add({EventKind::Note, 0, 0, start, end, std::move(text)});
}

void VirtualChip::NameLane(UserLane lane, std::string name) {
    implementation->log.laneNames[static_cast<std::size_t>(lane)] = std::move(name);
}

void VirtualChip::AddToLane(UserLane lane, std::uint32_t address, std::uint32_t length, Nanoseconds start,
                            std::string text) {
    const EventKind kind = lane == UserLane::First ? EventKind::InFirstLane : EventKind::InSecondLane;
    implementation->log.Add({kind, address, length, start, Now(), std::move(text)});
}

void VirtualChip::ObserveSram(std::uint32_t address, std::uint32_t length,
                              std::function<void(const SramWrite&)> observer) {
    implementation->ObserveSram(address, length, std::move(observer));
}

std::vector<std::uint8_t> VirtualChip::SaveState() const {
    const FlashArray& flash = implementation->flashArray;
    return EncodeState(implementation->settings, flash.Bytes(), flash.Programmed());
}

VirtualChip VirtualChip::FromSavedState(std::span<const std::uint8_t> state) { return VirtualChip(DecodeState(state)); }

}  // namespace flash::chip
