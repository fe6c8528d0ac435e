#include "chip/FlashController.h"

#include <algorithm>

namespace flash::chip {

void FlashController::PowerUp() {
    addressRegister = 0;
    dataRegisters = {};
    lastFed = Nanoseconds::zero();
    protect0 = array.Word(array.Length() - kProtect0BeforeEnd);
    protect1 = array.Word(array.Length() - kProtect1BeforeEnd);
    status = Status::Ready;
    operation.reset();
}

// DATA and, of a longer unit, the registers of its other words.
std::uint32_t* FlashController::FindData(std::uint32_t address) {
    const std::uint32_t index = address == kDataRegister ? 0 : 1 + (address - kMoreDataRegisters) / 4;
    return index < UnitWordCount() && address % 4 == 0 ? &dataRegisters[index] : nullptr;
}

std::uint32_t FlashController::Load(std::uint32_t address, Nanoseconds now) {
    if (const std::uint32_t* data = FindData(address)) {
        return *data;
    }
    switch (address) {
        case kSizeRegister:
            return array.SectorCount();
        case kAddressRegister:
            return addressRegister;
        case kStatusRegister:
            if (operation) {
                return static_cast<std::uint32_t>(operation->saysReadyEarly ? Status::Success : Status::Busy);
            }
            return static_cast<std::uint32_t>(status);
        case kProtect0Register:
            return kind.protectsWithOnes ? ~protect0 : protect0;
        case kProtect1Register:
            return kind.protectsWithOnes ? ~protect1 : protect1;
        case kBlankRegister:
            return kind.isWrittenOnce ? (IsUnitProgrammed() ? 0 : 1) : Misuse(address, now);
        default:
            return Misuse(address, now);
    }
}

ControllerSignals FlashController::Store(std::uint32_t address, std::uint32_t value, Nanoseconds now) {
    if (std::uint32_t* data = FindData(address)) {
        *data = value;
        return {};
    }
    if (address == kFeedRegister && kind.watchdog != Nanoseconds::zero()) {
        lastFed = now;
        return {};
    }
    switch (address) {
        case kCommandRegister:
            return Command(value, now);
        case kAddressRegister:
            addressRegister = value;
            return {};
        default:
            Misuse(address, now);
            return {};
    }
}

Nanoseconds FlashController::LoadStall(std::uint32_t address, Nanoseconds now) const {
    if (address != kStatusRegister || !operation || operation->saysReadyEarly) {
        return Nanoseconds::zero();
    }
    return operation->neverEnds ? timing.busyStall : std::min(timing.busyStall, operation->end - now);
}

Nanoseconds FlashController::WatchdogBites(Nanoseconds runningSince) const {
    return kind.watchdog == Nanoseconds::zero() ? Nanoseconds::max() : std::max(runningSince, lastFed) + kind.watchdog;
}

Nanoseconds FlashController::NextEvent() const {
    return operation && !operation->neverEnds ? operation->end : Nanoseconds::max();
}

ControllerSignals FlashController::AdvanceTo(Nanoseconds now) {
    if (NextEvent() > now) {
        return {};
    }
    const FlashOperation finished = *operation;
    operation.reset();
    Finish(finished);
    return {.powerIsLost = finished.losesPowerAtEnd};
}

void FlashController::Abort(Nanoseconds now) {
    if (!operation) {
        return;
    }
    FlashOperation torn = *operation;
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
    const std::optional<FlashOperation> accepted =
        hasKey ? Accept(value & 0xFFFF, now) : Refuse(Violation::WrongKey, Status::IncorrectParameter, now);
    return accepted ? Start(*accepted, now) : ControllerSignals{};
}

std::optional<FlashOperation> FlashController::Accept(std::uint32_t code, Nanoseconds now) {
    switch (code) {
        case kEraseSectorCode:
            return AcceptSectorErase(now);
        case kProgramWordCode:
            return AcceptProgram(now);
        case kEraseBankCode:
            return !kind.hasBankErase
                       ? Refuse(Violation::WrongKey, Status::IncorrectParameter, now)
                       : FlashOperation{.kind = EventKind::EraseBank, .start = now, .end = now + timing.bankErase};
        default:
            return Refuse(Violation::WrongKey, Status::IncorrectParameter, now);
    }
}

std::optional<FlashOperation> FlashController::AcceptSectorErase(Nanoseconds now) {
    if (addressRegister >= array.Length()) {
        return Refuse(Violation::OperationOutOfRange, Status::IncorrectParameter, now);
    }
    const std::uint32_t sector = array.SectorAt(addressRegister);
    if (IsProtected(sector)) {
        return Refuse(Violation::OperationOnProtected, Status::OperationFailed, now);
    }
    return FlashOperation{.kind = EventKind::EraseSector,
                          .address = addressRegister / PageBytes() * PageBytes(),
                          .start = now,
                          .end = now + timing.sectorErase};
}

std::optional<FlashOperation> FlashController::AcceptProgram(Nanoseconds now) {
    if (addressRegister % kind.unitBytes != 0) {
        return Refuse(Violation::UnalignedOperation, Status::IncorrectParameter, now);
    }
    if (addressRegister >= array.Length()) {
        return Refuse(Violation::OperationOutOfRange, Status::IncorrectParameter, now);
    }
    if (IsProtected(array.SectorAt(addressRegister))) {
        return Refuse(Violation::OperationOnProtected, Status::OperationFailed, now);
    }
    if (kind.isWrittenOnce && IsUnitProgrammed()) {
        return Refuse(Violation::UnitProgrammedTwice, Status::OperationFailed, now);
    }
    const bool setsBit = SetsABit();
    if (setsBit) {
        log.AddViolation(Violation::ProgramSetsBit, addressRegister, now);
    }
    return FlashOperation{.kind = EventKind::ProgramWord,
                          .address = addressRegister,
                          .data = dataRegisters,
                          .start = now,
                          .end = now + timing.wordProgram,
                          .breaksRule = setsBit};
}

std::optional<FlashOperation> FlashController::Refuse(Violation violation, Status refusal, Nanoseconds now) {
    log.AddViolation(violation, addressRegister, now);
    status = refusal;
    return std::nullopt;
}

ControllerSignals FlashController::Start(FlashOperation started, Nanoseconds now) {
    const std::vector<Fault> due = faults.NextOperation();
    for (const Fault fault : due) {
        log.AddInstant(EventKind::Fault, now, started.address, static_cast<std::uint32_t>(fault));
    }
    const ControllerSignals signals = Strike(started, due);
    if (!signals.powerIsLost) {
        CountStart(started);
        operation = started;
    }
    return signals;
}

void FlashController::CountStart(const FlashOperation& started) {
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

void FlashController::Finish(const FlashOperation& finished) {
    const bool took = Apply(finished) && !finished.breaksRule;
    status = took ? Status::Success : Status::OperationFailed;
    log.Add({finished.kind, finished.address, finished.data[0], finished.start, finished.end, {}});
}

// Whether the flash holds what was asked for, as far as the controller can tell.
bool FlashController::Apply(const FlashOperation& finished) {
    if (finished.outcome == Outcome::Nothing) {
        return true;
    }
    const bool isTorn = finished.outcome == Outcome::Torn;
    switch (finished.kind) {
        case EventKind::ProgramWord:
            return ProgramUnit(finished);
        case EventKind::EraseSector:
            isTorn ? array.TearErase(finished.address, PageBytes(), random)
                   : array.Erase(finished.address, PageBytes());
            break;
        default:
            EraseBank(isTorn);
            break;
    }
    return !isTorn;
}

bool FlashController::ProgramUnit(const FlashOperation& finished) {
    bool isAsAsked = finished.outcome == Outcome::Complete;
    for (std::uint32_t i = 0; i < UnitWordCount(); ++i) {
        const std::uint32_t address = finished.address + 4 * i;
        if (finished.outcome == Outcome::Torn) {
            array.TearWordProgram(address, finished.data[i], random);
        } else {
            isAsAsked = array.ProgramWord(address, finished.data[i]) && isAsAsked;
        }
    }
    return isAsAsked;
}

void FlashController::EraseBank(bool isTorn) {
    for (std::uint32_t sector = 0; sector < array.SectorCount(); ++sector) {
        const std::uint32_t address = sector * array.SectorSize();
        if (!IsProtected(sector)) {
            isTorn ? array.TearErase(address, array.SectorSize(), random) : array.Erase(address, array.SectorSize());
        }
    }
}

bool FlashController::SetsABit() const {
    bool sets = false;
    for (std::uint32_t i = 0; i < UnitWordCount(); ++i) {
        sets = sets || (dataRegisters[i] & ~array.Word(addressRegister + 4 * i)) != 0;
    }
    return sets;
}

// Of the unit that holds ADDRESS; there is none behind flash.
bool FlashController::IsUnitProgrammed() const {
    if (addressRegister >= array.Length()) {
        return false;
    }
    const auto first = array.Programmed().begin() + addressRegister / kind.unitBytes * UnitWordCount();
    return std::find(first, first + UnitWordCount(), true) != first + UnitWordCount();
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
