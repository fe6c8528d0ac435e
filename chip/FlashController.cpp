#include "chip/FlashController.h"

#include <algorithm>

namespace flash::chip {
namespace {

constexpr int kLateness = 10;  // of an operation that reports busy for too long

}  // namespace

void FlashController::PowerUp() {
    addressRegister = 0;
    dataRegister = 0;
    protect0 = array.Word(array.Length() - kProtect0BeforeEnd);
    protect1 = array.Word(array.Length() - kProtect1BeforeEnd);
    status = Status::Ready;
    operation.reset();
}

std::uint32_t FlashController::Load(std::uint32_t address, Nanoseconds now) {
    switch (address) {
        case kSizeRegister:
            return array.SectorCount();
        case kAddressRegister:
            return addressRegister;
        case kDataRegister:
            return dataRegister;
        case kStatusRegister:
            if (operation) {
                return static_cast<std::uint32_t>(operation->saysReadyEarly ? Status::Success : Status::Busy);
            }
            return static_cast<std::uint32_t>(status);
        case kProtect0Register:
            return protect0;
        case kProtect1Register:
            return protect1;
        default:
            return Misuse(address, now);
    }
}

ControllerSignals FlashController::Store(std::uint32_t address, std::uint32_t value, Nanoseconds now) {
    switch (address) {
        case kCommandRegister:
            return Command(value, now);
        case kAddressRegister:
            addressRegister = value;
            return {};
        case kDataRegister:
            dataRegister = value;
            return {};
        default:
            Misuse(address, now);
            return {};
    }
}

Nanoseconds FlashController::StatusStall(Nanoseconds now) const {
    if (!operation || operation->saysReadyEarly) {
        return Nanoseconds::zero();
    }
    return operation->neverEnds ? timing.busyStall : std::min(timing.busyStall, operation->end - now);
}

Nanoseconds FlashController::NextEvent() const {
    return operation && !operation->neverEnds ? operation->end : Nanoseconds::max();
}

ControllerSignals FlashController::AdvanceTo(Nanoseconds now) {
    if (NextEvent() > now) {
        return {};
    }
    const Operation finished = *operation;
    operation.reset();
    Finish(finished);
    return {.powerIsLost = finished.losesPowerAtEnd};
}

void FlashController::Abort(Nanoseconds now) {
    if (!operation) {
        return;
    }
    Operation torn = *operation;
    operation.reset();
    torn.outcome = Outcome::Torn;
    torn.end = now;
    Finish(torn);
}

ControllerSignals FlashController::Command(std::uint32_t value, Nanoseconds now) {
    if (operation) {
        log.AddViolation(Violation::CommandWhileBusy, addressRegister, now);
        return {};
    }
    const bool hasKey = (value & 0xFFFF'0000) == kCommandKey;
    const std::optional<Operation> accepted =
        hasKey ? Accept(value & 0xFFFF, now) : Refuse(Violation::WrongKey, Status::IncorrectParameter, now);
    return accepted ? Start(*accepted, now) : ControllerSignals{};
}

std::optional<FlashController::Operation> FlashController::Accept(std::uint32_t code, Nanoseconds now) {
    switch (code) {
        case kEraseSectorCode:
            return AcceptSectorErase(now);
        case kProgramWordCode:
            return AcceptWordProgram(now);
        case kEraseBankCode:
            return Operation{.kind = EventKind::EraseBank, .start = now, .end = now + timing.bankErase};
        default:
            return Refuse(Violation::WrongKey, Status::IncorrectParameter, now);
    }
}

std::optional<FlashController::Operation> FlashController::AcceptSectorErase(Nanoseconds now) {
    if (addressRegister >= array.Length()) {
        return Refuse(Violation::OperationOutOfRange, Status::IncorrectParameter, now);
    }
    const std::uint32_t sector = array.SectorAt(addressRegister);
    if (IsProtected(sector)) {
        return Refuse(Violation::OperationOnProtected, Status::OperationFailed, now);
    }
    return Operation{.kind = EventKind::EraseSector,
                     .address = sector * array.SectorSize(),
                     .start = now,
                     .end = now + timing.sectorErase};
}

std::optional<FlashController::Operation> FlashController::AcceptWordProgram(Nanoseconds now) {
    if (addressRegister % 4 != 0) {
        return Refuse(Violation::UnalignedOperation, Status::IncorrectParameter, now);
    }
    if (addressRegister >= array.Length()) {
        return Refuse(Violation::OperationOutOfRange, Status::IncorrectParameter, now);
    }
    if (IsProtected(array.SectorAt(addressRegister))) {
        return Refuse(Violation::OperationOnProtected, Status::OperationFailed, now);
    }
    const bool setsBit = (dataRegister & ~array.Word(addressRegister)) != 0;
    if (setsBit) {
        log.AddViolation(Violation::ProgramSetsBit, addressRegister, now);
    }
    return Operation{.kind = EventKind::ProgramWord,
                     .address = addressRegister,
                     .value = dataRegister,
                     .start = now,
                     .end = now + timing.wordProgram,
                     .breaksRule = setsBit};
}

std::optional<FlashController::Operation> FlashController::Refuse(Violation violation, Status refusal,
                                                                  Nanoseconds now) {
    log.AddViolation(violation, addressRegister, now);
    status = refusal;
    return std::nullopt;
}

ControllerSignals FlashController::Start(Operation started, Nanoseconds now) {
    const ControllerSignals signals = ApplyFaults(started, now);
    if (!signals.powerIsLost) {
        CountStart(started);
        operation = started;
    }
    return signals;
}

ControllerSignals FlashController::ApplyFaults(Operation& started, Nanoseconds now) {
    ControllerSignals signals;
    for (const Fault fault : faults.NextOperation()) {
        log.AddInstant(EventKind::Fault, now, started.address, static_cast<std::uint32_t>(fault));
        switch (fault) {
            case Fault::PowerLossBeforeOperation:
                signals.powerIsLost = true;
                break;
            case Fault::PowerLossInsideOperation:
                started.outcome = Outcome::Torn;
                started.end = now + (started.end - now) / 2;
                started.losesPowerAtEnd = true;
                break;
            case Fault::PowerLossAfterOperation:
                started.losesPowerAtEnd = true;
                break;
            case Fault::CoreStopsAtOperation:
                signals.coreStops = true;
                break;
            case Fault::OperationFails:
                started.outcome = Outcome::Torn;
                break;
            case Fault::OperationDoesNothing:
                started.outcome = Outcome::Nothing;
                started.breaksRule = false;
                break;
            case Fault::EarlyReady:
                started.saysReadyEarly = true;
                break;
            case Fault::LateReady:
                started.end = now + kLateness * (started.end - now);
                break;
            case Fault::StuckBusy:
                started.neverEnds = true;
                break;
            case Fault::PowerLossAtTransfer:
            case Fault::LinkErrorAtTransfer:
            case Fault::CoreStopsAtTransfer:
                break;  // the plan gives these at transfers
        }
    }
    return signals;
}

void FlashController::CountStart(const Operation& started) {
    ++log.counters.flashOperations;
    switch (started.kind) {
        case EventKind::ProgramWord:
            ++log.counters.wordsProgrammed;
            break;
        case EventKind::EraseSector:
            ++log.counters.sectorErases[array.SectorAt(started.address)];
            break;
        default:
            ++log.counters.bankErases;
            for (std::uint32_t sector = 0; sector < array.SectorCount(); ++sector) {
                log.counters.sectorErases[sector] += IsProtected(sector) ? 0U : 1U;
            }
            break;
    }
}

void FlashController::Finish(const Operation& finished) {
    const bool took = Apply(finished) && !finished.breaksRule;
    status = took ? Status::Success : Status::OperationFailed;
    log.Add({finished.kind, finished.address, finished.value, finished.start, finished.end, {}});
}

// Whether the flash holds what was asked for, as far as the controller can tell.
bool FlashController::Apply(const Operation& finished) {
    if (finished.outcome == Outcome::Nothing) {
        return true;
    }
    const bool isTorn = finished.outcome == Outcome::Torn;
    const std::uint32_t sector = array.SectorAt(finished.address);
    switch (finished.kind) {
        case EventKind::ProgramWord:
            if (!isTorn) {
                return array.ProgramWord(finished.address, finished.value);
            }
            array.TearWordProgram(finished.address, finished.value, random);
            break;
        case EventKind::EraseSector:
            isTorn ? array.TearSectorErase(sector, random) : array.EraseSector(sector);
            break;
        default:
            isTorn ? TearBankErase() : EraseBank();
            break;
    }
    return !isTorn;
}

void FlashController::EraseBank() {
    for (std::uint32_t sector = 0; sector < array.SectorCount(); ++sector) {
        if (!IsProtected(sector)) {
            array.EraseSector(sector);
        }
    }
}

void FlashController::TearBankErase() {
    for (std::uint32_t sector = 0; sector < array.SectorCount(); ++sector) {
        if (!IsProtected(sector)) {
            array.TearSectorErase(sector, random);
        }
    }
}

bool FlashController::IsProtected(std::uint32_t sector) const {
    const std::uint32_t word = sector < 32 ? protect0 : protect1;
    return (word >> (sector % 32) & 1) == 0;
}

std::uint32_t FlashController::Misuse(std::uint32_t address, Nanoseconds now) {
    log.AddViolation(Violation::RegisterMisuse, address, now);
    return 0;
}

}  // namespace flash::chip
