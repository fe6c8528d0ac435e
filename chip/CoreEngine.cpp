#include "chip/CoreEngine.h"

#include <sys/mman.h>

#include <array>
#include <cinttypes>
#include <cstdio>
#include <utility>

#include "chip/MemoryMap.h"

namespace flash::chip {
namespace {

constexpr std::uint32_t kFetchException = 3;  // the engine's number for a fetch from where no code may lie
constexpr std::uint32_t kBreakpointException = 7;
constexpr std::array kLeftText = {"left SRAM for", "left flash and SRAM for"};
constexpr std::uint64_t kNowhere = 0xFFFF'FFFE;  // an address that is never reached: runs end by time only

void Require(uc_err error, const char* step) {
    if (error != UC_ERR_OK) {
        throw ChipError(std::string("The emulated core cannot be set up: ") + step + ": " + uc_strerror(error));
    }
}

// The engine asks for so much when memory is mapped for the first time, mostly for a buffer that it never fills, and
// ends the whole process when it gets none.
constexpr std::size_t kMebibyte = std::size_t{1} << 20;
constexpr std::size_t kEngineMebibytes = 1024 + 64;

void RequireAddressSpace() {
    constexpr std::size_t kBytes = kEngineMebibytes * kMebibyte;
    void* const space = mmap(nullptr, kBytes, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (space == MAP_FAILED) {
        throw ChipError("The emulated core cannot be set up: it needs " + std::to_string(kEngineMebibytes) +
                        " MiB of address space, more than this process may have");
    }
    munmap(space, kBytes);
}

std::string At(const char* what, std::uint64_t address) {
    char text[96];
    std::snprintf(text, sizeof text, "%s 0x%08" PRIX64, what, address);
    return text;
}

}  // namespace

EmulatedCore::Engine::Engine(CoreBus& coreBus, Sram& coreSram, std::uint64_t clockHz)
    : bus(coreBus), sram(coreSram), clock(clockHz) {
    const auto mode = static_cast<uc_mode>(UC_MODE_THUMB | UC_MODE_MCLASS);
    RequireAddressSpace();
    Require(uc_open(UC_ARCH_ARM, mode, &uc), "opening the engine");
}

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

void EmulatedCore::Engine::AllowFlash(std::uint32_t lengthBytes) {
    const std::uint32_t changed = std::max(lengthBytes, executableFlash);
    executableFlash = lengthBytes;
    if (changed == 0) {
        return;
    }
    const std::uint32_t permissions = lengthBytes == 0 ? UC_PROT_READ : UC_PROT_READ | UC_PROT_EXEC;
    Require(uc_mem_protect(uc, kFlashBase, changed, permissions), "changing what may be executed");
    uc_ctl_remove_cache(uc, std::uint64_t{kFlashBase}, std::uint64_t{kFlashBase} + changed);
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

}  // namespace flash::chip
