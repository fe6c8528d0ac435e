#include "chip/EmulatedCore.h"

#include <unicorn/unicorn.h>

#include <algorithm>
#include <array>
#include <cinttypes>
#include <cstdio>
#include <set>
#include <utility>

#include "chip/MemoryMap.h"

namespace flash::chip {
namespace {

constexpr std::uint64_t kNanosecondsPerSecond = 1'000'000'000;
constexpr std::uint32_t kThumbBit = 1;        // of an address to jump to
constexpr std::uint32_t kFetchException = 3;  // the engine's number for a fetch from where no code may lie
constexpr std::uint32_t kBreakpointException = 7;
constexpr std::array kLeftText = {"left SRAM for", "left flash and SRAM for"};
constexpr std::uint32_t kXpsrThumb = 0x0100'0000;
constexpr std::uint32_t kXpsrFlags = 0xF800'0000;
constexpr std::uint64_t kNowhere = 0xFFFF'FFFE;  // an address that is never reached: runs end by time only

constexpr std::array<int, 17> kEngineRegisters = {
    UC_ARM_REG_R0,  UC_ARM_REG_R1, UC_ARM_REG_R2, UC_ARM_REG_R3, UC_ARM_REG_R4,  UC_ARM_REG_R5,
    UC_ARM_REG_R6,  UC_ARM_REG_R7, UC_ARM_REG_R8, UC_ARM_REG_R9, UC_ARM_REG_R10, UC_ARM_REG_R11,
    UC_ARM_REG_R12, UC_ARM_REG_SP, UC_ARM_REG_LR, UC_ARM_REG_PC, UC_ARM_REG_XPSR};

void Require(uc_err error, const char* step) {
    if (error != UC_ERR_OK) {
        throw ChipError(std::string("The emulated core cannot be set up: ") + step + ": " + uc_strerror(error));
    }
}

std::string At(const char* what, std::uint64_t address) {
    char text[96];
    std::snprintf(text, sizeof text, "%s 0x%08" PRIX64, what, address);
    return text;
}

// A core in thread mode whose clock counts cycles since it was started.
class CycleClock {
public:
    explicit CycleClock(std::uint64_t clockHz) : hz(clockHz) {}
    void Start(Nanoseconds now) {
        epoch = now;
        cycles = 0;
    }
    Nanoseconds Now() const {
        const std::uint64_t whole = cycles / hz * kNanosecondsPerSecond;
        return epoch + Nanoseconds(whole + cycles % hz * kNanosecondsPerSecond / hz);
    }
    // The first cycle that does not begin before `time`.
    std::uint64_t CycleAt(Nanoseconds time) const { return time <= epoch ? 0 : CyclesIn(time - epoch); }
    std::uint64_t CyclesIn(Nanoseconds duration) const {
        const auto count = static_cast<std::uint64_t>(duration.count());
        const std::uint64_t rest = count % kNanosecondsPerSecond * hz;
        return count / kNanosecondsPerSecond * hz + (rest + kNanosecondsPerSecond - 1) / kNanosecondsPerSecond;
    }
    std::uint64_t cycles = 0;

private:
    std::uint64_t hz;
    Nanoseconds epoch{0};
};

}  // namespace

class EmulatedCore::Engine {
public:
    Engine(CoreBus& coreBus, Sram& coreSram, std::uint64_t clockHz) : bus(coreBus), sram(coreSram), clock(clockHz) {
        const auto mode = static_cast<uc_mode>(UC_MODE_THUMB | UC_MODE_MCLASS);
        Require(uc_open(UC_ARCH_ARM, mode, &uc), "opening the engine");
    }
    ~Engine() { uc_close(uc); }
    Engine(const Engine&) = delete;
    Engine& operator=(const Engine&) = delete;

    void Map(const std::vector<ReadOnlyMemory>& memories, std::span<const std::uint32_t> registerPages);
    void AddHooks();
    Nanoseconds RunUntil(Nanoseconds target);
    void LowerLimit(std::uint64_t cycle) { limit = std::min(limit, cycle); }

    uc_engine* uc = nullptr;
    CoreBus& bus;
    Sram& sram;
    CycleClock clock;
    std::uint64_t instructions = 0;
    AddressRange watchedWord;
    AddressRange observed;
    std::optional<SramWrite> observedWrite;
    std::optional<CoreTrouble> trouble;
    std::uint32_t executableFlash = 0;  // from address 0 on
    std::set<std::uint32_t> breakpoints;
    std::optional<std::uint32_t> startedAt;  // where a breakpoint does not count, until something was executed
    bool isAtBreakpoint = false;

private:
    struct RegisterPage {
        Engine* engine;
        std::uint32_t address;
    };

    static void OnInstruction(uc_engine* uc, std::uint64_t address, std::uint32_t size, void* self);
    static void OnMemoryAccess(uc_engine* uc, uc_mem_type type, std::uint64_t address, int size, std::int64_t value,
                               void* self);
    static bool OnInvalidAccess(uc_engine* uc, uc_mem_type type, std::uint64_t address, int size, std::int64_t value,
                                void* self);
    static void OnException(uc_engine* uc, std::uint32_t number, void* self);
    static std::uint64_t OnRegisterLoad(uc_engine* uc, std::uint64_t offset, unsigned size, void* page);
    static void OnRegisterStore(uc_engine* uc, std::uint64_t offset, unsigned size, std::uint64_t value, void* page);

    void OnSramAccess(bool isWrite, std::uint32_t offset, std::uint32_t size);
    void NoteObservedWrite(std::uint32_t address, std::uint32_t size);
    void OnOtherAccess(bool isWrite, std::uint32_t address, std::uint32_t size);
    void Execute();
    void CheckFetch(std::uint32_t address);
    void Fail(Violation violation, std::uint32_t address, std::string text);
    void Explain(uc_err error);

    // The engine shows each instruction before it runs. It finishes an IT block before it honours a request to stop.
    void CountInstruction() {
        ++clock.cycles;
        ++instructions;
        startedAt.reset();
    }
    void StopAtBreakpoint() {
        if (breakpoints.contains(shownAddress) && startedAt != shownAddress) {
            isAtBreakpoint = true;
            LowerLimit(clock.cycles);
        }
    }
    bool HasTimeLeft() const { return clock.cycles < limit && !trouble; }

    std::vector<std::unique_ptr<RegisterPage>> pages;
    std::uint64_t limit = 0;  // the cycle before which the core has to stop
    bool stopIsRequested = false;
    std::uint32_t shownAddress = 0;  // of the instruction shown last; after a stop it has not run
    std::uint32_t invalidAddress = 0;
};

void EmulatedCore::Engine::Map(const std::vector<ReadOnlyMemory>& memories,
                               std::span<const std::uint32_t> registerPages) {
    Require(uc_ctl_set_cpu_model(uc, UC_CPU_ARM_CORTEX_M3), "selecting the core");
    const std::span<std::uint8_t> ram = sram.MappedBytes();
    Require(uc_mem_map_ptr(uc, kSramBase, ram.size(), UC_PROT_ALL, ram.data()), "mapping SRAM");
    for (const ReadOnlyMemory& memory : memories) {
        Require(uc_mem_map_ptr(uc, memory.address, memory.bytes.size(), UC_PROT_READ, memory.bytes.data()),
                "mapping read-only memory");
    }
    for (const std::uint32_t address : registerPages) {
        pages.push_back(std::make_unique<RegisterPage>(RegisterPage{this, address}));
        Require(uc_mmio_map(uc, address, kRegisterPageBytes, &OnRegisterLoad, pages.back().get(), &OnRegisterStore,
                            pages.back().get()),
                "mapping registers");
    }
}

void EmulatedCore::Engine::AddHooks() {
    constexpr std::uint64_t kFirst = 1;  // first above last: everywhere
    constexpr std::uint64_t kLast = 0;
    uc_hook hook = 0;
    Require(uc_hook_add(uc, &hook, UC_HOOK_CODE, reinterpret_cast<void*>(&OnInstruction), this, kFirst, kLast),
            "watching instructions");
    Require(uc_hook_add(uc, &hook, UC_HOOK_MEM_READ | UC_HOOK_MEM_WRITE, reinterpret_cast<void*>(&OnMemoryAccess), this,
                        kFirst, kLast),
            "watching memory");
    Require(uc_hook_add(uc, &hook, UC_HOOK_MEM_INVALID, reinterpret_cast<void*>(&OnInvalidAccess), this, kFirst, kLast),
            "watching memory faults");
    Require(uc_hook_add(uc, &hook, UC_HOOK_INTR, reinterpret_cast<void*>(&OnException), this, kFirst, kLast),
            "watching exceptions");
}

Nanoseconds EmulatedCore::Engine::RunUntil(Nanoseconds target) {
    limit = clock.CycleAt(target);
    while (HasTimeLeft()) {
        Execute();
    }
    return std::min(target, clock.Now());
}

void EmulatedCore::Engine::Execute() {
    std::uint32_t programCounter = 0;
    uc_reg_read(uc, UC_ARM_REG_PC, &programCounter);
    stopIsRequested = false;
    const uc_err error = uc_emu_start(uc, programCounter | kThumbBit, kNowhere, 0, 0);
    uc_reg_read(uc, UC_ARM_REG_PC, &programCounter);
    if (error != UC_ERR_OK) {
        Explain(error);
    } else if (stopIsRequested && programCounter != shownAddress) {
        CountInstruction();  // a jump at the end of an IT block, run in spite of the request
    } else if (!stopIsRequested && !trouble) {
        Fail(Violation::CoreFault, programCounter, At("went to sleep with nothing to wake it, before", programCounter));
    }
}

void EmulatedCore::Engine::OnInstruction(uc_engine* uc, std::uint64_t address, std::uint32_t, void* self) {
    auto& engine = *static_cast<Engine*>(self);
    if (engine.stopIsRequested) {
        engine.CountInstruction();  // the instruction shown before this one ran after all
    }
    engine.shownAddress = static_cast<std::uint32_t>(address);
    if (engine.HasTimeLeft() && !engine.breakpoints.empty()) {
        engine.StopAtBreakpoint();
    }
    if (engine.HasTimeLeft()) {
        engine.CheckFetch(engine.shownAddress);
    }
    if (!engine.HasTimeLeft()) {
        engine.stopIsRequested = true;
        uc_emu_stop(uc);
        return;
    }
    engine.CountInstruction();
}

void EmulatedCore::Engine::CheckFetch(std::uint32_t address) {
    constexpr std::uint32_t kShortestInstruction = 2;
    if (address < executableFlash) {
        bus.OnReadOnlyMemoryRead(address);
        return;
    }
    const std::uint32_t offset = address - kSramBase;
    if (offset + kShortestInstruction > sram.Length()) {
        Fail(Violation::ExecutionOutsideSram, address, At(kLeftText[executableFlash != 0], address));
    } else if (!sram.IsWritten(offset, kShortestInstruction)) {
        bus.OnUnwrittenSramRead(address);
    }
}

void EmulatedCore::Engine::OnMemoryAccess(uc_engine*, uc_mem_type type, std::uint64_t address, int size, std::int64_t,
                                          void* self) {
    auto& engine = *static_cast<Engine*>(self);
    const auto address32 = static_cast<std::uint32_t>(address);
    const auto length = static_cast<std::uint32_t>(size);
    const std::uint32_t offset = address32 - kSramBase;
    if (offset < engine.sram.MappedBytes().size()) {
        engine.OnSramAccess(type == UC_MEM_WRITE, offset, length);
    } else {
        engine.OnOtherAccess(type == UC_MEM_WRITE, address32, length);
    }
}

void EmulatedCore::Engine::OnSramAccess(bool isWrite, std::uint32_t offset, std::uint32_t size) {
    const std::uint32_t address = kSramBase + offset;
    if (offset + size > sram.Length()) {
        Fail(Violation::CoreBusFault, address, At("reached behind the end of SRAM, at", address));
        return;
    }
    if (!isWrite) {
        if (!sram.IsWritten(offset, size)) {
            bus.OnUnwrittenSramRead(address);
        }
        return;
    }
    sram.MarkWritten(offset, size);
    if (observed.Touches(address, size)) {
        NoteObservedWrite(address, size);
    }
    if (watchedWord.Touches(address, size) || observed.Touches(address, size)) {
        LowerLimit(clock.cycles);
    }
}

// One instruction can store several words.
void EmulatedCore::Engine::NoteObservedWrite(std::uint32_t address, std::uint32_t size) {
    const SramWrite before = observedWrite.value_or(SramWrite{SramWrite::By::Core, address, size});
    const std::uint32_t first = std::min(address, before.address);
    const std::uint32_t end = std::max(address + size, before.address + before.length);
    observedWrite = {SramWrite::By::Core, first, end - first};
}

void EmulatedCore::Engine::OnOtherAccess(bool isWrite, std::uint32_t address, std::uint32_t size) {
    const bool isRegister = std::ranges::any_of(
        pages, [address](const auto& page) { return address - page->address < kRegisterPageBytes; });
    if (isRegister) {
        if (address % size != 0) {
            bus.OnUnalignedRegisterAccess(address);
        }
    } else if (!isWrite) {
        bus.OnReadOnlyMemoryRead(address);
    }
}

bool EmulatedCore::Engine::OnInvalidAccess(uc_engine*, uc_mem_type, std::uint64_t address, int, std::int64_t,
                                           void* self) {
    static_cast<Engine*>(self)->invalidAddress = static_cast<std::uint32_t>(address);
    return false;  // the run ends
}

void EmulatedCore::Engine::OnException(uc_engine* uc, std::uint32_t number, void* self) {
    auto& engine = *static_cast<Engine*>(self);
    std::uint32_t programCounter = 0;
    uc_reg_read(uc, UC_ARM_REG_PC, &programCounter);
    if (number == kFetchException) {
        engine.Fail(Violation::ExecutionOutsideSram, programCounter,
                    At(kLeftText[engine.executableFlash != 0], programCounter));
    } else if (number == kBreakpointException && engine.executableFlash != 0) {
        engine.isAtBreakpoint = true;
        engine.LowerLimit(engine.clock.cycles);
        engine.stopIsRequested = true;
    } else {
        char text[64];
        std::snprintf(text, sizeof text, "took exception %" PRIu32 " at", number);
        engine.Fail(Violation::CoreFault, programCounter, At(text, programCounter));
    }
    uc_emu_stop(uc);
}

std::uint64_t EmulatedCore::Engine::OnRegisterLoad(uc_engine*, std::uint64_t offset, unsigned size, void* page) {
    const auto& [engine, address] = *static_cast<RegisterPage*>(page);
    return engine->bus.LoadRegister(address + static_cast<std::uint32_t>(offset), size);
}

void EmulatedCore::Engine::OnRegisterStore(uc_engine*, std::uint64_t offset, unsigned size, std::uint64_t value,
                                           void* page) {
    const auto& [engine, address] = *static_cast<RegisterPage*>(page);
    engine->bus.StoreRegister(address + static_cast<std::uint32_t>(offset), size, static_cast<std::uint32_t>(value));
}

void EmulatedCore::Engine::Fail(Violation violation, std::uint32_t address, std::string text) {
    if (!trouble) {
        trouble = CoreTrouble{violation, address, "The core " + std::move(text) + "."};
    }
}

void EmulatedCore::Engine::Explain(uc_err error) {
    switch (error) {
        case UC_ERR_FETCH_PROT:
        case UC_ERR_FETCH_UNMAPPED:
            Fail(Violation::ExecutionOutsideSram, invalidAddress, At(kLeftText[executableFlash != 0], invalidAddress));
            break;
        case UC_ERR_READ_UNMAPPED:
            Fail(Violation::CoreBusFault, invalidAddress, At("read from nothing, at", invalidAddress));
            break;
        case UC_ERR_WRITE_UNMAPPED:
            Fail(Violation::CoreBusFault, invalidAddress, At("wrote to nothing, at", invalidAddress));
            break;
        case UC_ERR_WRITE_PROT:
            Fail(Violation::CoreBusFault, invalidAddress, At("wrote to read-only memory, at", invalidAddress));
            break;
        default:
            Fail(Violation::CoreFault, shownAddress, At("cannot execute the instruction at", shownAddress));
            break;
    }
}

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

void EmulatedCore::AllowFlash(std::uint32_t lengthBytes) {
    const std::uint32_t changed = std::max(lengthBytes, engine->executableFlash);
    engine->executableFlash = lengthBytes;
    if (changed == 0) {
        return;
    }
    const std::uint32_t permissions = lengthBytes == 0 ? UC_PROT_READ : UC_PROT_READ | UC_PROT_EXEC;
    Require(uc_mem_protect(engine->uc, kFlashBase, changed, permissions), "changing what may be executed");
    ForgetCode(kFlashBase, changed);
}

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
