#include "chip/EmulatedCore.h"

#include <array>
#include <utility>

#include "chip/CoreEngine.h"
#include "chip/MemoryMap.h"

namespace flash::chip {
namespace {

constexpr std::uint32_t kXpsrThumb = 0x0100'0000;
constexpr std::uint32_t kXpsrFlags = 0xF800'0000;

constexpr std::array<int, 23> kEngineRegisters = {
    UC_ARM_REG_R0,  UC_ARM_REG_R1,      UC_ARM_REG_R2,      UC_ARM_REG_R3,        UC_ARM_REG_R4,     UC_ARM_REG_R5,
    UC_ARM_REG_R6,  UC_ARM_REG_R7,      UC_ARM_REG_R8,      UC_ARM_REG_R9,        UC_ARM_REG_R10,    UC_ARM_REG_R11,
    UC_ARM_REG_R12, UC_ARM_REG_SP,      UC_ARM_REG_LR,      UC_ARM_REG_PC,        UC_ARM_REG_XPSR,   UC_ARM_REG_MSP,
    UC_ARM_REG_PSP, UC_ARM_REG_PRIMASK, UC_ARM_REG_BASEPRI, UC_ARM_REG_FAULTMASK, UC_ARM_REG_CONTROL};

}  // namespace

EmulatedCore::EmulatedCore(CoreBus& bus, Sram& sram, const std::vector<ReadOnlyMemory>& memories,
                           std::span<const std::uint32_t> registerPages, std::uint64_t clockHz)
    : engine(std::make_unique<Engine>(bus, sram, clockHz)) {
    engine->Map(memories, registerPages);
    engine->AddHooks();
}

EmulatedCore::~EmulatedCore() = default;

void EmulatedCore::Start(Nanoseconds now) {
    engine->clock.Start(now);
    engine->startedAt = Register(CoreRegister::Pc);
    engine->isAtBreakpoint = false;
}

void EmulatedCore::AllowFlash(std::uint32_t lengthBytes) { engine->AllowFlash(lengthBytes); }

void EmulatedCore::InsertBreakpoint(std::uint32_t address) { engine->breakpoints.insert(address); }
void EmulatedCore::RemoveBreakpoint(std::uint32_t address) { engine->breakpoints.erase(address); }
std::size_t EmulatedCore::BreakpointCount() const { return engine->breakpoints.size(); }
bool EmulatedCore::TakeBreakpoint() { return std::exchange(engine->isAtBreakpoint, false); }

Nanoseconds EmulatedCore::RunUntil(Nanoseconds target) { return engine->RunUntil(target); }

std::optional<CoreTrouble> EmulatedCore::TakeTrouble() { return std::exchange(engine->trouble, std::nullopt); }

Nanoseconds EmulatedCore::Now() const { return engine->clock.Now(); }

void EmulatedCore::Stall(Nanoseconds duration) { engine->clock.cycles += engine->clock.CyclesIn(duration); }

void EmulatedCore::StopAfterThisInstruction() { engine->LowerLimit(engine->clock.cycles); }

void EmulatedCore::StopAt(Nanoseconds time) { engine->LowerLimit(engine->clock.CycleAt(time)); }

void EmulatedCore::WatchWord(std::uint32_t address, std::uint32_t length) { engine->watchedWord = {address, length}; }

void EmulatedCore::Observe(std::uint32_t address, std::uint32_t length) {
    engine->observed = {address, length};
    engine->observedWrite.reset();
}

std::optional<SramWrite> EmulatedCore::TakeObservedWrite() {
    return std::exchange(engine->observedWrite, std::nullopt);
}

std::uint32_t EmulatedCore::Register(CoreRegister number) const {
    std::uint32_t value = 0;
    uc_reg_read(engine->uc, kEngineRegisters[static_cast<std::size_t>(number)], &value);
    return value;
}

void EmulatedCore::SetRegister(CoreRegister number, std::uint32_t value) {
    if (number == CoreRegister::Pc) {
        // As a debugger does: whatever the core was in the midst of ends with the jump.
        SetRegister(CoreRegister::Xpsr, Register(CoreRegister::Xpsr));
        value |= kThumbBit;
        // And what comes is another program, perhaps one that has its data where the last one had code: the engine
        // would look at each write for code that no longer counts, and leak what it needs for that.
        ForgetCode(kSramBase, static_cast<std::uint32_t>(engine->sram.MappedBytes().size()));
    } else if (number == CoreRegister::Xpsr) {
        value = (value & kXpsrFlags) | kXpsrThumb;
    }
    uc_reg_write(engine->uc, kEngineRegisters[static_cast<std::size_t>(number)], &value);
}

void EmulatedCore::ClearRegisters() {
    for (std::size_t i = 0; i < kEngineRegisters.size(); ++i) {
        SetRegister(static_cast<CoreRegister>(i), 0);
    }
}

void EmulatedCore::ForgetCode(std::uint32_t address, std::uint32_t length) {
    uc_ctl_remove_cache(engine->uc, std::uint64_t{address}, std::uint64_t{address} + length);
}

std::uint64_t EmulatedCore::Instructions() const { return engine->instructions; }

}  // namespace flash::chip
