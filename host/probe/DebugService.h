// What debuggers need of a core, and programming does not. Everything throws ProbeError.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace flash::host {

struct DebugStop {
    enum class Cause { Breakpoint, Interrupt, Fault };
    Cause cause;
    std::string words;  // of a fault
};

// What a core has besides r0 to r15 and xpsr, at most.
inline constexpr const char* kSystemRegisters[] = {"msp", "psp", "primask", "basepri", "faultmask", "control"};

class DebugService {
public:
    enum class BreakpointKind { Software, Hardware };

    // The core begins anew from its vectors, and stands.
    virtual void Reset() = 0;

    // Those of kSystemRegisters that the core has and the probe reaches.
    virtual std::vector<std::string> SystemRegisters() const = 0;

    // r0 to r15, xpsr as number 16, and from there on the system registers. The core stands.
    virtual std::uint32_t ReadCoreRegister(std::uint32_t number) = 0;
    virtual void WriteCoreRegister(std::uint32_t number, std::uint32_t value) = 0;

    // False when there is none of the kind, or none left.
    virtual bool InsertBreakpoint(BreakpointKind kind, std::uint32_t address) = 0;
    virtual void RemoveBreakpoint(BreakpointKind kind, std::uint32_t address) = 0;

    // The core executes whatever its program counter names, flash included.
    virtual void Resume() = 0;
    virtual void Step() = 0;

    // Null when it still runs after `bound`, or after a shorter time.
    virtual std::optional<DebugStop> AwaitStop(std::chrono::nanoseconds bound) = 0;
    virtual void Interrupt() = 0;

protected:
    ~DebugService() = default;
};

}  // namespace flash::host
