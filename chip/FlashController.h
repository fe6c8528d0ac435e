// The flash controller: its registers, its state machine with modelled times, its protection, and the faults that
// strike at flash operations. The registers are listed in `chip/MemoryMap.h`.
#pragma once

#include <cstdint>
#include <optional>

#include "chip/ChipLog.h"
#include "chip/FaultPlan.h"
#include "chip/FlashArray.h"
#include "chip/FlashOperation.h"
#include "chip/MemoryMap.h"
#include "chip/Random.h"
#include "chip/VirtualChip.h"

namespace flash::chip {

class FlashController {
public:
    // Refers to all of them; they must live as long.
    FlashController(FlashArray& flashArray, const Settings& settings, FaultPlan& plan, ChipLog& chipLog, Random& torn)
        : array(flashArray),
          kind(settings.controller),
          timing(settings.timing),
          faults(plan),
          log(chipLog),
          random(torn) {}

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

    // When the core has run for too long unfed since then; `Nanoseconds::max()` without a watchdog.
    Nanoseconds WatchdogBites(Nanoseconds runningSince) const;

    // When the running operation ends; `Nanoseconds::max()` if none does.
    Nanoseconds NextEvent() const;
    // Ends the running operation if its time has come.
    ControllerSignals AdvanceTo(Nanoseconds now);
    // Tears the running operation, if any: a reset or a loss of power from outside.
    void Abort(Nanoseconds now);

private:
    ControllerSignals Command(std::uint32_t value, Nanoseconds now);
    std::optional<FlashOperation> Accept(std::uint32_t code, Nanoseconds now);
    std::optional<FlashOperation> AcceptSectorErase(Nanoseconds now);
    std::optional<FlashOperation> AcceptProgram(Nanoseconds now);
    std::optional<FlashOperation> Refuse(Violation violation, Status refusal, Nanoseconds now);
    ControllerSignals Start(FlashOperation started, Nanoseconds now);
    void CountStart(const FlashOperation& started);
    void Finish(const FlashOperation& finished);
    bool Apply(const FlashOperation& finished);
    bool ProgramUnit(const FlashOperation& finished);
    void EraseBank(bool isTorn);
    std::uint32_t PageBytes() const { return kind.pageBytes == 0 ? array.SectorSize() : kind.pageBytes; }
    std::uint32_t UnitWordCount() const { return kind.unitBytes / 4; }
    bool SetsABit() const;
    bool IsUnitProgrammed() const;
    bool IsProtected(std::uint32_t sector) const;
    std::uint32_t* FindData(std::uint32_t address);
    std::uint32_t Misuse(std::uint32_t address, Nanoseconds now);

    FlashArray& array;
    const ControllerKind& kind;
    const Timing& timing;
    FaultPlan& faults;
    ChipLog& log;
    Random& random;

    std::uint32_t addressRegister = 0;
    UnitWords dataRegisters = {};
    std::uint32_t protect0 = 0xFFFF'FFFF;
    std::uint32_t protect1 = 0xFFFF'FFFF;
    Status status = Status::Ready;
    Nanoseconds lastFed{0};
    std::optional<FlashOperation> operation;
};

}  // namespace flash::chip
