// The engine under the core, and what it meets: each instruction is shown here before it runs, and each access. Only
// the sources of the core may include this; nobody else shall see the library that emulates.
#pragma once

#include <unicorn/unicorn.h>

#include <algorithm>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "chip/CycleClock.h"
#include "chip/EmulatedCore.h"

namespace flash::chip {

class EmulatedCore::Engine {
public:
    Engine(CoreBus& coreBus, Sram& coreSram, std::uint64_t clockHz);
    ~Engine() { uc_close(uc); }
    Engine(const Engine&) = delete;
    Engine& operator=(const Engine&) = delete;

    void Map(const std::vector<ReadOnlyMemory>& memories, std::span<const std::uint32_t> registerPages);
    void AddHooks();
    Nanoseconds RunUntil(Nanoseconds target);
    void AllowFlash(std::uint32_t lengthBytes);
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

}  // namespace flash::chip
