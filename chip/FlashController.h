// The flash controller: its registers, its state machine with modelled times, its protection, and the faults that
// strike at flash operations. The registers are listed in `chip/MemoryMap.h`.
#pragma once

#include <cstdint>
#include <optional>

#include "chip/ChipLog.h"
#include "chip/Controller.h"
#include "chip/FaultPlan.h"
#include "chip/FlashArray.h"
#include "chip/FlashOperation.h"
#include "chip/MemoryMap.h"
#include "chip/Random.h"
#include "chip/VirtualChip.h"

namespace flash::chip {

class FlashController final : public Controller {
public:
    // Refers to all of them; they must live as long.
    FlashController(FlashArray& flashArray, const Settings& settings, FaultPlan& plan, ChipLog& chipLog, Random& torn)
        : array(flashArray),
          kind(settings.controller),
          timing(settings.timing),
          faults(plan),
          log(chipLog),
          random(torn) {}

    std::vector<std::uint32_t> RegisterPages() const override { return {kControllerPage}; }

    // Samples the protection words from CCFG.
    void PowerUp() override;

    std::uint32_t Load(std::uint32_t address, Nanoseconds now) override;
    ControllerSignals Store(std::uint32_t address, std::uint32_t value, Nanoseconds now) override;

    bool IsBusy() const override { return operation.has_value(); }
    // Of a read of STATUS.
    Nanoseconds LoadStall(std::uint32_t address, Nanoseconds now) const override;
    Nanoseconds WatchdogBites(Nanoseconds runningSince) const override;

    Nanoseconds NextEvent() const override;
    ControllerSignals AdvanceTo(Nanoseconds now) override;
    void Abort(Nanoseconds now) override;

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
