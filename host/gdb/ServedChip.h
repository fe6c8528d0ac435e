// The chip that a GDB server serves, as the server needs it. Everything may throw an exception of the standard family;
// its text is for the user.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "host/gdb/FlashLoad.h"

namespace flash::host::gdb {

struct MemoryRegion {
    enum class Kind { Flash, Ram, Rom };
    Kind kind;
    std::uint32_t address;
    std::uint64_t lengthBytes;
    std::uint32_t blockBytes;  // that are erased together; of flash alone
};

// Why the core stands.
struct CoreStop {
    enum class Reason { Breakpoint, Step, Interrupt, Fault };
    Reason reason;
    std::string words;  // of a fault
};

// Asked now and then by whatever takes its time: keeps the line alive, and finds out whether anybody still waits.
class Attention {
public:
    virtual void Look() = 0;

protected:
    ~Attention() = default;
};

// Registers by index: r0 to r12, sp, lr, pc, xpsr, and then the system registers.
inline constexpr std::uint32_t kCoreRegisterCount = 17;

class ServedChip {
public:
    virtual ~ServedChip() = default;

    // Its flash begins at address 0, in one region or in several.
    virtual std::vector<MemoryRegion> MemoryMap() = 0;

    virtual std::vector<std::uint8_t> ReadMemory(std::uint32_t address, std::uint32_t lengthBytes) = 0;
    virtual void WriteMemory(std::uint32_t address, std::span<const std::uint8_t> bytes) = 0;  // never flash
    virtual std::vector<std::string> SystemRegisters() = 0;  // their names; msp and psp first, if any
    virtual std::uint32_t ReadRegister(std::uint32_t index) = 0;
    virtual void WriteRegister(std::uint32_t index, std::uint32_t value) = 0;

    // False when there is none of the kind, or none left.
    virtual bool InsertBreakpoint(request::BreakpointKind kind, std::uint32_t address) = 0;
    virtual void RemoveBreakpoint(request::BreakpointKind kind, std::uint32_t address) = 0;

    virtual void Resume() = 0;
    virtual void LetRun() = 0;  // and nobody waits for it to stop; it may be halted later
    virtual CoreStop Step() = 0;
    virtual std::optional<CoreStop> AwaitStop(std::chrono::nanoseconds bound) = 0;
    virtual CoreStop Halt() = 0;
    virtual void Reset() = 0;  // from the vectors, standing

    // Programs and verifies; returns what is to be said about it.
    virtual std::string Load(const FlashLoad& load, Attention& attention) = 0;

    // Of the commands that the server does not know itself; returns the output. Throws std::invalid_argument for one
    // that there is not.
    virtual std::string Monitor(const std::string& command, Attention& attention) = 0;
};

}  // namespace flash::host::gdb
