// The debug link: each access of the probe as one transfer, with the time that it takes and the faults that strike it.
#include <algorithm>
#include <cinttypes>
#include <cstdio>

#include "chip/Machine.h"
#include "chip/MemoryMap.h"

namespace flash::chip {
namespace {

constexpr std::size_t kWordBytes = 4;

// A transfer that fails although the chip could have answered.
class LinkFailure : public ChipError {
public:
    using ChipError::ChipError;
};

std::string Access(const char* verb, std::size_t bytes, std::uint32_t address) {
    char text[64];
    std::snprintf(text, sizeof text, "%s %zu bytes at 0x%08" PRIX32, verb, bytes, address);
    return text;
}

[[noreturn]] void Refuse(const std::string& access, const char* reason) {
    throw ChipError("Cannot " + access + ": " + reason + ".");
}

void RequireElements(const std::string& access, std::uint32_t address, std::size_t bytes, std::uint32_t elementSize) {
    if (elementSize != 1 && elementSize != 2 && elementSize != 4) {
        Refuse(access, "elements have 1, 2 or 4 bytes");
    }
    if (address % elementSize != 0 || bytes % elementSize != 0) {
        Refuse(access, "address and length are no multiples of the element size");
    }
}

}  // namespace

bool VirtualChip::Machine::IsInRegisterPage(std::uint32_t address, std::size_t bytes) const {
    return std::ranges::any_of(registerPages, [&](std::uint32_t page) {
        return address >= page && std::uint64_t{address - page} + bytes <= kRegisterPageBytes;
    });
}

void VirtualChip::Machine::ReadMemory(std::uint32_t address, std::span<std::uint8_t> bytes, std::uint32_t elementSize) {
    if (bytes.empty()) {
        return;
    }
    const Transfer transfer{EventKind::TransferRead, address, bytes.size(), Access("read", bytes.size(), address)};
    RequireReachable(transfer);
    RequireElements(transfer.text, address, bytes.size(), elementSize);
    if (IsInRegisterPage(address, bytes.size())) {
        RequireRegisterAccess(transfer, elementSize);
        Perform(transfer);
        ReadRegisters(address, bytes);
    } else {
        const Place place = Find(address, bytes.size());
        if (place.region == Region::None) {
            Refuse(transfer.text, "there is no such memory");
        }
        Perform(transfer);
        CheckRead(place, address);
        std::ranges::copy(place.bytes, bytes.begin());
    }
    log.counters.bytesRead += bytes.size();
}

void VirtualChip::Machine::WriteMemory(std::uint32_t address, std::span<const std::uint8_t> bytes,
                                       std::uint32_t elementSize) {
    if (bytes.empty()) {
        return;
    }
    const Transfer transfer{EventKind::TransferWrite, address, bytes.size(), Access("write", bytes.size(), address)};
    RequireReachable(transfer);
    RequireElements(transfer.text, address, bytes.size(), elementSize);
    if (IsInRegisterPage(address, bytes.size())) {
        RequireRegisterAccess(transfer, elementSize);
        Perform(transfer);
        WriteRegisters(address, bytes);
    } else {
        WriteSram(transfer, bytes);
    }
    log.counters.bytesWritten += bytes.size();
}

std::uint32_t VirtualChip::Machine::ReadCoreRegister(CoreRegister number) {
    const Transfer transfer{EventKind::TransferOther, 0, kWordBytes, "read a core register"};
    RequireReachable(transfer);
    RequireHalted(transfer.text);
    Perform(transfer);
    return core->Register(number);
}

void VirtualChip::Machine::WriteCoreRegister(CoreRegister number, std::uint32_t value) {
    const Transfer transfer{EventKind::TransferOther, 0, kWordBytes, "write a core register"};
    RequireReachable(transfer);
    RequireHalted(transfer.text);
    Perform(transfer);
    core->SetRegister(number, value);
}

void VirtualChip::Machine::Halt() {
    Perform({EventKind::TransferOther, 0, kWordBytes, "halt the core"});
    StopCore(CoreState::Halted);
}

void VirtualChip::Machine::Run() {
    Perform({EventKind::TransferOther, 0, kWordBytes, "run the core"});
    if (state == CoreState::Halted) {
        state = CoreState::Running;
        runStart = now;
        runAddress = core->Register(CoreRegister::Pc);
        core->Start(now);
    }
}

bool VirtualChip::Machine::IsRunning() {
    Perform({EventKind::TransferOther, 0, kWordBytes, "ask for the core's state"});
    return state == CoreState::Running;
}

std::uint32_t VirtualChip::Machine::ReadIdentificationCode() {
    Perform({EventKind::TransferOther, 0, kWordBytes, "read the identification code", false});
    return settings.identificationCode;
}

void VirtualChip::Machine::RequireReachable(const Transfer& transfer) const {
    if (!isPowered) {
        Refuse(transfer.text, "the chip has no power");
    }
    if (isDebugPortDisabled && transfer.needsDebugPort) {
        Refuse(transfer.text, "the debug port is disabled, as CCFG says");
    }
}

void VirtualChip::Machine::RequireHalted(const std::string& text) const {
    if (state != CoreState::Halted) {
        Refuse(text, "the core is not halted");
    }
}

void VirtualChip::Machine::RequireRegisterAccess(const Transfer& transfer, std::uint32_t elementSize) {
    if (elementSize != kWordBytes) {
        log.AddViolation(Violation::RegisterMisuse, transfer.address, now);
        Refuse(transfer.text, "registers are reached in words of 4 bytes");
    }
}

Nanoseconds VirtualChip::Machine::DurationOf(const Transfer& transfer) const {
    constexpr std::uint64_t kNanosecondsPerSecond = 1'000'000'000;
    const std::uint64_t speed = settings.timing.linkBytesPerSecond;
    const std::uint64_t moving = (transfer.bytes * kNanosecondsPerSecond + speed - 1) / speed;
    return settings.timing.linkLatency + Nanoseconds(moving);
}

// Lets the time of a transfer pass. When this returns the data is at the other end of the link.
void VirtualChip::Machine::Perform(const Transfer& transfer) {
    RequireReachable(transfer);
    ++log.counters.transfers;
    const std::vector<Fault> due = faults.NextTransfer();
    for (const Fault fault : due) {
        log.AddInstant(EventKind::Fault, now, transfer.address, static_cast<std::uint32_t>(fault));
    }
    if (Contains(due, Fault::CoreStopsAtTransfer)) {
        LockUp(core->Register(CoreRegister::Pc), "The core stopped answering.");
    }
    const Nanoseconds start = now;
    const Nanoseconds end = After(DurationOf(transfer));
    if (Contains(due, Fault::PowerLossAtTransfer)) {
        AdvanceTo(start + (end - start) / 2);
        PowerOff();
    }
    AdvanceTo(end);
    log.Add({transfer.kind, transfer.address, static_cast<std::uint32_t>(transfer.bytes), start, now,
             transfer.kind == EventKind::TransferOther ? transfer.text : std::string()});
    if (!isPowered) {
        Refuse(transfer.text, "the chip lost its power meanwhile");
    }
    if (Contains(due, Fault::LinkErrorAtTransfer)) {
        throw LinkFailure("Cannot " + transfer.text + ": the debug link failed.");
    }
}

void VirtualChip::Machine::CheckRead(const Place& place, std::uint32_t address) {
    if (place.region == Region::Sram) {
        if (!sram.IsWritten(place.offset, static_cast<std::uint32_t>(place.bytes.size()))) {
            log.AddViolation(Violation::ProbeReadOfUnwrittenSram, address, now);
        }
    } else if (place.region != Region::Factory && controller->IsBusy()) {
        log.AddViolation(Violation::FlashReadWhileBusy, address, now);
    }
}

void VirtualChip::Machine::ReadRegisters(std::uint32_t address, std::span<std::uint8_t> bytes) {
    for (std::size_t i = 0; i < bytes.size(); i += kWordBytes) {
        const std::uint32_t value = LoadRegisterWord(address + static_cast<std::uint32_t>(i), now);
        for (std::size_t k = 0; k < kWordBytes; ++k) {
            bytes[i + k] = static_cast<std::uint8_t>(value >> (8 * k));
        }
    }
}

void VirtualChip::Machine::WriteRegisters(std::uint32_t address, std::span<const std::uint8_t> bytes) {
    for (std::size_t i = 0; i < bytes.size(); i += kWordBytes) {
        std::uint32_t value = 0;
        for (std::size_t k = 0; k < kWordBytes; ++k) {
            value |= std::uint32_t{bytes[i + k]} << (8 * k);
        }
        Obey(StoreRegisterWord(address + static_cast<std::uint32_t>(i), value, now));
    }
}

void VirtualChip::Machine::WriteSram(const Transfer& transfer, std::span<const std::uint8_t> bytes) {
    const Place place = Find(transfer.address, bytes.size());
    if (place.region == Region::None) {
        Refuse(transfer.text, "there is no such memory");
    }
    if (place.region != Region::Sram) {
        Refuse(transfer.text, "it is read-only; the flash controller alone changes flash");
    }
    try {
        Perform(transfer);
    } catch (const LinkFailure&) {
        StoreInSram(place.offset, bytes.first(random.Next() % bytes.size()));
        throw;
    }
    StoreInSram(place.offset, bytes);
}

void VirtualChip::Machine::StoreInSram(std::uint32_t offset, std::span<const std::uint8_t> bytes) {
    const auto length = static_cast<std::uint32_t>(bytes.size());
    if (length == 0) {
        return;
    }
    std::ranges::copy(bytes, sram.Bytes().begin() + offset);
    sram.MarkWritten(offset, length);
    core->ForgetCode(kSramBase + offset, length);
    if (observed.Touches(kSramBase + offset, length)) {
        observer({SramWrite::By::Probe, kSramBase + offset, length});
    }
}

}  // namespace flash::chip
