// The Cortex-M3 core, emulated by the Unicorn engine. It executes one instruction per cycle of its clock and stops
// between two instructions, exactly when it is told to.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "chip/Sram.h"
#include "chip/VirtualChip.h"

namespace flash::chip {

// What the core meets outside of SRAM. Called while it runs; `EmulatedCore::Now` tells when. Must not throw.
class CoreBus {
public:
    virtual std::uint32_t LoadRegister(std::uint32_t address, std::uint32_t size) = 0;
    virtual void StoreRegister(std::uint32_t address, std::uint32_t size, std::uint32_t value) = 0;
    virtual void OnUnalignedRegisterAccess(std::uint32_t address) = 0;
    virtual void OnReadOnlyMemoryRead(std::uint32_t address) = 0;
    virtual void OnUnwrittenSramRead(std::uint32_t address) = 0;

protected:
    ~CoreBus() = default;
};

struct ReadOnlyMemory {
    std::uint32_t address;
    std::span<std::uint8_t> bytes;  // whole pages
};

// Why the core cannot go on.
struct CoreTrouble {
    Violation violation;
    std::uint32_t address;
    std::string text;
};

class EmulatedCore {
public:
    // Refers to `bus`, `sram` and the memories, which must live as long. A register page is 4096 bytes long.
    EmulatedCore(CoreBus& bus, Sram& sram, const std::vector<ReadOnlyMemory>& memories,
                 std::span<const std::uint32_t> registerPages, std::uint64_t clockHz);
    ~EmulatedCore();
    EmulatedCore(const EmulatedCore&) = delete;
    EmulatedCore& operator=(const EmulatedCore&) = delete;

    // Lets the clock of the core begin at `now`; it runs from its program counter with the next `RunUntil`.
    void Start(Nanoseconds now);

    // Runs to a time and gives that time back, or an earlier one when something stopped the core before.
    Nanoseconds RunUntil(Nanoseconds target);
    std::optional<CoreTrouble> TakeTrouble();

    // For the bus, while the core runs. `Now` is the start of the current instruction.
    Nanoseconds Now() const;
    void Stall(Nanoseconds duration);
    void StopAfterThisInstruction();
    void StopAt(Nanoseconds time);

    // A write of the core into one of these two ranges of SRAM stops it right after the instruction. Length 0: none.
    void WatchWord(std::uint32_t address, std::uint32_t length);
    void Observe(std::uint32_t address, std::uint32_t length);
    std::optional<SramWrite> TakeObservedWrite();  // since it was asked last

    // How much of the memory at address 0 may be executed; 0 for none of it.
    void AllowFlash(std::uint32_t lengthBytes);

    // The core stops before the instruction at one of these, unless it starts there.
    void InsertBreakpoint(std::uint32_t address);
    void RemoveBreakpoint(std::uint32_t address);
    std::size_t BreakpointCount() const;
    bool TakeBreakpoint();  // whether it stopped at one since it was asked last

    std::uint32_t Register(CoreRegister number) const;
    void SetRegister(CoreRegister number, std::uint32_t value);
    void ClearRegisters();

    // Code there may have changed by other hands than the core's.
    void ForgetCode(std::uint32_t address, std::uint32_t length);

    std::uint64_t Instructions() const;

private:
    class Engine;
    std::unique_ptr<Engine> engine;
};

}  // namespace flash::chip
