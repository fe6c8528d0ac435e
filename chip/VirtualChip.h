// The virtual chip: a `Lumo` microcontroller with an emulated core, modelled flash and a debug link, in virtual time.
// This and `ChipSettings.h` are the library's public headers; `docs/virtual-chip.md` tells the memory map, the
// registers and the rules.
//
// One clock: link transfers, pauses and the core's instructions advance it, and a running core runs during transfers
// and pauses. Nothing sleeps, so the same calls give the same timeline, to the nanosecond. One thread per chip.
#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "chip/ChipSettings.h"

namespace flash::chip {

// Every failure of the chip: settings that make no chip, an access that the debug probe could not make, a saved state
// that is none. The text tells a user what was tried, where, and what came back.
class ChipError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// What may be executed. The strict one is for flashloaders, which must not run from the flash that they change.
enum class Execution : std::uint8_t { SramOnly, FlashToo };

inline constexpr std::size_t kHardwareBreakpointCount = 6;

enum class CoreRegister : std::uint8_t {
    R0,
    R1,
    R2,
    R3,
    R4,
    R5,
    R6,
    R7,
    R8,
    R9,
    R10,
    R11,
    R12,
    Sp,
    Lr,
    Pc,
    Xpsr,
    Msp,
    Psp,
    Primask,
    Basepri,
    Faultmask,
    Control,  // `Sp` is `Msp` or `Psp`, as `Control` says
};

enum class CoreState : std::uint8_t {
    Halted,
    Running,
    LockedUp,  // runs no more until it is halted and started again, or reset; memory stays reachable
};

// The rules that the chip is strict about. A breach is counted and the timeline shows it.
enum class Violation : std::uint8_t {
    ProgramSetsBit,            // programming a 1 where flash holds a 0
    UnalignedOperation,        // programming at an address that is no multiple of a unit
    OperationOutOfRange,       // an operation outside flash
    OperationOnProtected,      // an operation on a sector that CCFG protects
    CommandWhileBusy,          // refused; the running operation goes on
    FlashReadWhileBusy,        // the core or the probe reads flash while an operation changes it
    WrongKey,                  // a command without the key, or with an unknown code
    ExecutionOutsideSram,      // locks the core up
    CoreReadOfUnwrittenSram,   // the core reads a byte that nobody wrote since power-up
    ProbeReadOfUnwrittenSram,  // the probe does
    UnitProgrammedTwice,       // without an erase in between, where units are written once; refused
    WatchdogBite,              // the core ran for longer than the watchdog waits, unfed; resets the chip
    RegisterMisuse,            // a register reached in another width than 32 bits, unaligned, or against its direction
    CoreBusFault,              // the core reaches for nothing, or writes to read-only memory; locks it up
    CoreFault,                 // the core meets an instruction that it cannot execute; locks it up
};
inline constexpr std::size_t kViolationCount = 15;
std::string_view Name(Violation violation);

struct Counters {
    std::vector<std::uint64_t> sectorErases;  // by sector; bank erases count in each sector that they erase
    std::uint64_t bankErases = 0;
    std::uint64_t wordsProgrammed = 0;                           // program operations that started
    std::uint64_t flashOperations = 0;                           // operations that started: erases and programmed words
    std::uint64_t transfers = 0;                                 // over the debug link, failed ones included
    std::uint64_t bytesRead = 0;                                 // by the probe, memory only
    std::uint64_t bytesWritten = 0;                              // likewise
    std::uint64_t instructions = 0;                              // executed by the core
    std::array<std::uint64_t, kViolationCount> violations = {};  // by `Violation`
};

// What goes wrong on purpose. `at` counts from the arming on, 1 is the next one.
enum class Fault : std::uint8_t {
    PowerLossBeforeOperation,  // when the n-th flash operation is about to start; nothing of it happens
    PowerLossInsideOperation,  // half-way: a word with only some of its bits cleared, a half-erased sector
    PowerLossAfterOperation,   // when it is complete
    PowerLossAtTransfer,       // half-way through the n-th transfer, which fails and has no effect
    LinkErrorAtTransfer,       // the n-th transfer fails; a write leaves some first part of its bytes behind
    CoreStopsAtOperation,      // the core locks up when it starts the n-th flash operation, which goes on
    CoreStopsAtTransfer,       // the core locks up when the n-th transfer begins
    OperationFails,            // the n-th flash operation ends torn, with the status "operation failed"
    OperationDoesNothing,      // a lie: the n-th flash operation reports success and has changed nothing
    EarlyReady,                // a lie: the n-th flash operation reports success at once but still takes its time
    LateReady,                 // the n-th flash operation reports busy ten times as long as it should
    StuckBusy,                 // the n-th flash operation never ends; only a reset or power cycle helps
};

std::string_view Name(Fault fault);

enum class EventKind : std::uint8_t {
    TransferRead,   // address, value: bytes
    TransferWrite,  // address, value: bytes
    TransferOther,  // halt, run, registers, identification; text
    Pause,
    EraseSector,  // address: of the sector
    EraseBank,
    ProgramWord,  // address, value: the word asked for
    InFirstLane,  // what the user of the chip added in a lane of its own; address, value: length, text
    InSecondLane,
    CoreRuns,   // from run to halt, lock-up or power loss; address: where it started
    LockUp,     // an instant; address: program counter; text: why
    PowerOn,    // an instant
    PowerOff,   // an instant
    Reset,      // an instant
    Violation,  // an instant; address; value: the `Violation`. The first 100 of each kind are shown, all counted
    Fault,      // an instant; value: the `Fault` that came true
    Note,       // what the user of the chip added; text
};

struct Event {
    EventKind kind = EventKind::Note;
    std::uint32_t address = 0;
    std::uint32_t value = 0;
    Nanoseconds start{0};
    Nanoseconds end{0};  // equal to `start` for an instant
    std::string text;
    bool operator==(const Event&) const = default;
};

// Two lanes of the timeline are for the user: for what the program on the chip does, which the chip cannot know.
enum class UserLane : std::uint8_t { First, Second };

// A write that touched an observed range of SRAM. Of the core, what one instruction wrote there.
struct SramWrite {
    enum class By : std::uint8_t { Probe, Core };
    By by;
    std::uint32_t address;
    std::uint32_t length;
};

class Controller;

class VirtualChip {
public:
    // Powered up, with the core halted and nothing in SRAM. Throws `ChipError` for settings that make no chip.
    explicit VirtualChip(const Settings& settings);
    // The same with another controller (chip/Controller.h) than the settings tell.
    VirtualChip(const Settings& settings, std::unique_ptr<Controller> controller);
    ~VirtualChip();
    VirtualChip(VirtualChip&&) noexcept;
    VirtualChip& operator=(VirtualChip&&) noexcept;

    // ---- As a debug probe. Each call is one transfer over the link, of latency plus bytes by bandwidth, during which
    // a running core runs; data is sampled, or becomes visible, at the transfer's end. Throws `ChipError` when the chip
    // has no power, its debug port is disabled, the link fails or the access is impossible.

    // `elementSize` is 1, 2 or 4 and divides address and length. Registers take 4 only. Elements are little-endian.
    // Nothing happens, and no time passes, for no bytes.
    void ReadMemory(std::uint32_t address, std::span<std::uint8_t> bytes, std::uint32_t elementSize = 1);
    void WriteMemory(std::uint32_t address, std::span<const std::uint8_t> bytes, std::uint32_t elementSize = 1);
    std::uint32_t ReadWord(std::uint32_t address);
    void WriteWord(std::uint32_t address, std::uint32_t value);

    // The core must be halted. Bit 0 of a program counter is dropped: the core knows Thumb code only.
    std::uint32_t ReadCoreRegister(CoreRegister number);
    void WriteCoreRegister(CoreRegister number, std::uint32_t value);

    void Halt();  // also ends a lock-up; halting a halted core is no error
    void Run();   // from the program counter; running a running core is no error
    bool IsRunning();

    // ---- As a board that is debugged. Not over the link: none of these takes time but what the core runs.

    // In the strict mode again after `PowerOn`; as it was after `Reset`.
    void Allow(Execution execution);

    // The core is halted when it is about to execute there: not when it is started there. Throws `ChipError` when all
    // are in use.
    void InsertBreakpoint(std::uint32_t address);
    void RemoveBreakpoint(std::uint32_t address);

    // One instruction of a halted core.
    void StepInstruction();

    // Lets time pass while the core runs; true when it has come to stand by itself, by a breakpoint or locked up.
    bool PauseWhileRunning(Nanoseconds bound);

    // `Reset`, and then the stack pointer and the program counter are those that the vectors at address 0 tell.
    void Restart();

    // Why the core locked up last, in words; "" when it never did since power-up and reset.
    const std::string& TroubleText() const;

    // Register 1 of the debug router. Answers also when the core's debug port is disabled.
    std::uint32_t ReadIdentificationCode();

    // ---- Time. None of these is a transfer, and a chip without power lets time pass, too.

    void Pause(Nanoseconds duration);

    // A pause that ends early, with true, as soon as the 32-bit word at this address of SRAM differs from `value`: as
    // the comparator of a debug unit would tell. Exact to the instruction. False when `bound` has passed; so it is when
    // the probe could not look, without power or with a disabled debug port.
    bool PauseWhileWordIs(std::uint32_t address, std::uint32_t value, Nanoseconds bound);

    // A pause that ends early, with true, when `condition` holds: it is tried at the start and after each `step`. It
    // may look at the chip by any call; transfers that it makes count against `bound`.
    bool PauseUntil(const std::function<bool()>& condition, Nanoseconds bound,
                    Nanoseconds step = std::chrono::microseconds(50));

    Nanoseconds Now() const;  // since the chip was made

    // ---- Power and reset. A running flash operation ends torn.

    void PowerOff();    // loses SRAM
    void PowerOn();     // samples protection and the debug port's switch from CCFG; the core is halted, registers are 0
    void PowerCycle();  // off and on
    void Reset();       // as `PowerOn`, but SRAM and the debug port stay as they are
    bool IsPowered() const;
    bool IsDebugPortDisabled() const;

    // ---- Faults.

    void Arm(Fault fault, std::uint64_t at = 1);
    // Bit 0 to 7 of the byte there, until all is disarmed. The first is noticed by the controller; the second is a lie:
    // whenever its word is programmed the bit ends the other way round than asked, with success.
    void ArmBitThatWillNotProgram(std::uint32_t address, unsigned bit);
    void ArmBitThatFlips(std::uint32_t address, unsigned bit);
    void DisarmAll();  // a controller stuck already stays stuck, and flash keeps what it holds

    // ---- Looking inside: free of time and rules, also without power.

    CoreState State() const;
    const Settings& GetSettings() const;  // with the defaults of the generation filled in, and no initial flash
    std::uint32_t SectorSize() const;
    std::uint32_t FlashBytes() const;
    std::uint32_t RamBytes() const;
    std::span<const std::uint8_t> Flash() const;
    std::vector<std::uint8_t> PeekMemory(std::uint32_t address, std::uint32_t length) const;  // flash, SRAM, windows
    std::uint32_t PeekWord(std::uint32_t address) const;

    // Puts bytes into flash as a factory would. Protection follows at the next reset or power-up.
    void PlaceInFlash(std::uint32_t address, std::span<const std::uint8_t> bytes);

    const Counters& GetCounters() const;
    std::uint64_t Count(Violation violation) const;
    std::uint64_t ViolationTotal() const;

    // ---- Timeline, in the order in which events ended.

    const std::vector<Event>& Timeline() const;
    std::uint64_t TimelineHash() const;
    std::string TimelineJson() const;  // Chrome trace events; Perfetto opens them
    void AddNote(std::string text, Nanoseconds start, Nanoseconds end);
    void NameLane(UserLane lane, std::string name);
    void AddToLane(UserLane lane, std::uint32_t address, std::uint32_t length, Nanoseconds start, std::string text);

    // Calls `observer` after each write that touches these words of SRAM, exact to the instruction. It may look inside
    // and add to the timeline, and must neither throw nor observe anew. One range at a time; a loss of power ends it,
    // and so does length 0.
    void ObserveSram(std::uint32_t address, std::uint32_t length, std::function<void(const SramWrite&)> observer);

    // ---- What lasts: flash, factory data and settings, as bytes for a file. Not time, SRAM, faults or counters.

    std::vector<std::uint8_t> SaveState() const;
    static VirtualChip FromSavedState(std::span<const std::uint8_t> state);  // throws `ChipError` for other bytes

private:
    class Machine;
    std::unique_ptr<Machine> machine;
};

}  // namespace flash::chip
