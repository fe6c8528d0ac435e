// The flash controller: its registers, its state machine with modelled times, its protection, and the faults that
// strike at flash operations. The registers are listed in `chip/MemoryMap.h`.
#pragma once

#include <cstdint>
#include <optional>

#include "chip/ChipLog.h"
#include "chip/FaultPlan.h"
#include "chip/FlashArray.h"
#include "chip/MemoryMap.h"
#include "chip/Random.h"
#include "chip/VirtualChip.h"

namespace flash::chip {

// What a step of the controller asks of the rest of the chip.
struct ControllerSignals {
    bool powerIsLost = false;
    bool coreStops = false;
};

class FlashController {
public:
    // Refers to all of them; they must live as long.
    FlashController(FlashArray& flashArray, const Timing& flashTiming, FaultPlan& plan, ChipLog& chipLog, Random& torn)
        : array(flashArray), timing(flashTiming), faults(plan), log(chipLog), random(torn) {}

    // Samples the protection words from CCFG. Whatever ran before must have been aborted.
    void PowerUp();

    // An address that is no register of the controller, or not in this direction, is a misuse: reads as 0, does
    // nothing.
    std::uint32_t Load(std::uint32_t address, Nanoseconds now);
    ControllerSignals Store(std::uint32_t address, std::uint32_t value, Nanoseconds now);

    // An operation changes flash right now, whatever STATUS says.
    bool IsBusy() const { return operation.has_value(); }
    // How long a read of STATUS by the core is held up.
    Nanoseconds StatusStall(Nanoseconds now) const;

    // When the running operation ends; `Nanoseconds::max()` if none does.
    Nanoseconds NextEvent() const;
    // Ends the running operation if its time has come.
    ControllerSignals AdvanceTo(Nanoseconds now);
    // Tears the running operation, if any: a reset or a loss of power from outside.
    void Abort(Nanoseconds now);

private:
    enum class Outcome : std::uint8_t { Complete, Torn, Nothing };
    struct Operation {
        EventKind kind = EventKind::EraseSector;
        std::uint32_t address = 0;
        std::uint32_t value = 0;
        Nanoseconds start{0};
        Nanoseconds end{0};
        Outcome outcome = Outcome::Complete;
        bool breaksRule = false;  // ends with the status "operation failed" even when complete
        bool saysReadyEarly = false;
        bool neverEnds = false;
        bool losesPowerAtEnd = false;
    };

    ControllerSignals Command(std::uint32_t value, Nanoseconds now);
    std::optional<Operation> Accept(std::uint32_t code, Nanoseconds now);
    std::optional<Operation> AcceptSectorErase(Nanoseconds now);
    std::optional<Operation> AcceptWordProgram(Nanoseconds now);
    std::optional<Operation> Refuse(Violation violation, Status refusal, Nanoseconds now);
    ControllerSignals Start(Operation started, Nanoseconds now);
    ControllerSignals ApplyFaults(Operation& started, Nanoseconds now);
    void CountStart(const Operation& started);
    void Finish(const Operation& finished);
    bool Apply(const Operation& finished);
    void EraseBank();
    void TearBankErase();
    bool IsProtected(std::uint32_t sector) const;
    std::uint32_t Misuse(std::uint32_t address, Nanoseconds now);

    FlashArray& array;
    const Timing& timing;
    FaultPlan& faults;
    ChipLog& log;
    Random& random;

    std::uint32_t addressRegister = 0;
    std::uint32_t dataRegister = 0;
    std::uint32_t protect0 = 0xFFFF'FFFF;
    std::uint32_t protect1 = 0xFFFF'FFFF;
    Status status = Status::Ready;
    std::optional<Operation> operation;
};

}  // namespace flash::chip
