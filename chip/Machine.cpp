#include "chip/Machine.h"

#include <algorithm>
#include <utility>

#include "chip/Geometry.h"
#include "chip/MemoryMap.h"

namespace flash::chip {

VirtualChip::Machine::Machine(const Settings& chipSettings, std::unique_ptr<Controller> otherController)
    : settings(Completed(chipSettings)),
      random(settings.seed),
      log(settings.sectorCount),
      flashArray(settings.sectorCount, SectorSizeOf(settings.generation)),
      factory(kFactoryBytes),
      sram(settings.ramBytes),
      controller(otherController ? std::move(otherController)
                                 : std::make_unique<FlashController>(flashArray, settings, faults, log, random)) {
    const std::vector<std::uint8_t> initial = std::exchange(settings.initialFlash, {});
    std::ranges::copy(initial, flashArray.Bytes().begin());
    flashArray.MarkWhatIsNotOnes(0, initial.size());
    flashArray.MarkProgrammed(std::exchange(settings.initiallyProgrammed, {}));
    controller->Attach(flashArray.Bytes());
    std::ranges::fill(factory.Bytes(), std::uint8_t{0xFF});
    std::ranges::copy(settings.primaryIeeeAddress, factory.Bytes().begin() + (kPrimaryIeeeAddress - kFactoryBase));
    std::ranges::copy(settings.primaryBleAddress, factory.Bytes().begin() + (kPrimaryBleAddress - kFactoryBase));
    sram.Lose(random);
    const std::vector<ReadOnlyMemory> memories = {
        {controller->FlashAddress(), flashArray.Bytes()},
        {kCcfgWindowBase, flashArray.Bytes().last(flashArray.SectorSize())},
        {kFactoryBase, factory.Bytes()},
    };
    registerPages = controller->RegisterPages();
    registerPages.insert(registerPages.end(), kRegisterPages.begin(), kRegisterPages.end());
    core = std::make_unique<EmulatedCore>(*this, sram, memories, registerPages, settings.timing.coreClockHz);
    PowerOn();
}

std::vector<std::uint8_t> VirtualChip::Machine::PeekMemory(std::uint32_t address, std::uint32_t length) const {
    const Place place = Find(address, length);
    if (place.region == Region::None) {
        throw ChipError("There is no memory to look at there.");
    }
    return {place.bytes.begin(), place.bytes.end()};
}

std::uint32_t VirtualChip::Machine::PeekWord(std::uint32_t address) const {
    std::uint32_t word = 0;
    const std::vector<std::uint8_t> bytes = PeekMemory(address, sizeof word);
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        word |= std::uint32_t{bytes[i]} << (8 * i);
    }
    return word;
}

void VirtualChip::Machine::PlaceInFlash(std::uint32_t address, std::span<const std::uint8_t> bytes) {
    if (bytes.size() > flashArray.Length() || address > flashArray.Length() - bytes.size()) {
        throw ChipError("The bytes to place do not fit into flash.");
    }
    std::ranges::copy(bytes, flashArray.Bytes().begin() + address);
    flashArray.MarkWhatIsNotOnes(address, bytes.size());
    controller->Place(address, bytes);
}

const Counters& VirtualChip::Machine::GetCounters() {
    log.counters.instructions = core->Instructions();
    return log.counters;
}

void VirtualChip::Machine::Arm(Fault fault, std::uint64_t at) {
    if (!controller->Arm(fault, at)) {
        faults.Arm(fault, at);
    }
}

void VirtualChip::Machine::ArmBit(void (FlashArray::*defect)(std::uint32_t, unsigned), std::uint32_t address,
                                  unsigned bit) {
    if (address >= flashArray.Length() || bit > 7) {
        throw ChipError("There is no such bit of flash.");
    }
    (flashArray.*defect)(address, bit);
}

std::uint32_t VirtualChip::Machine::LoadRegister(std::uint32_t address, std::uint32_t size) {
    const Nanoseconds at = core->Now();
    if (size != 4) {
        log.AddViolation(Violation::RegisterMisuse, address, at);
        return 0;
    }
    const std::uint32_t value = LoadRegisterWord(address, at);
    core->Stall(controller->LoadStall(address, at));
    return value;
}

void VirtualChip::Machine::StoreRegister(std::uint32_t address, std::uint32_t size, std::uint32_t value) {
    const Nanoseconds at = core->Now();
    if (size != 4) {
        log.AddViolation(Violation::RegisterMisuse, address, at);
        return;
    }
    const ControllerSignals signals = StoreRegisterWord(address, value, at);
    core->Stall(controller->StoreStall(at));
    pendingSignals.powerIsLost |= signals.powerIsLost;
    pendingSignals.coreStops |= signals.coreStops;
    pendingSignals.watchdogBites |= signals.watchdogBites;
    if (signals.powerIsLost || signals.coreStops || signals.watchdogBites) {
        core->StopAfterThisInstruction();
    } else if (controller->NextEvent() != Nanoseconds::max()) {
        core->StopAt(controller->NextEvent());
    }
}

void VirtualChip::Machine::OnUnalignedRegisterAccess(std::uint32_t address) {
    log.AddViolation(Violation::RegisterMisuse, address, core->Now());
}

void VirtualChip::Machine::OnReadOnlyMemoryRead(std::uint32_t address) {
    if (controller->IsBusy() && Find(address, 1).region != Region::Factory) {
        log.AddViolation(Violation::FlashReadWhileBusy, address, core->Now());
    }
}

void VirtualChip::Machine::OnUnwrittenSramRead(std::uint32_t address) {
    log.AddViolation(Violation::CoreReadOfUnwrittenSram, address, core->Now());
}

std::uint64_t VirtualChip::Machine::CycleAt(Nanoseconds at) const {
    constexpr std::uint64_t kPerSecond = 1'000'000'000;
    const auto count = static_cast<std::uint64_t>(at.count());
    return count / kPerSecond * settings.timing.coreClockHz +
           count % kPerSecond * settings.timing.coreClockHz / kPerSecond;
}

std::uint32_t VirtualChip::Machine::LoadRegisterWord(std::uint32_t address, Nanoseconds at) {
    if (address == kRamSizeRegister) {
        return settings.ramSizeCode;
    }
    const std::optional<std::uint32_t> own = coreControl.Load(address, CycleAt(at));
    return own ? *own : controller->Load(address, at);
}

ControllerSignals VirtualChip::Machine::StoreRegisterWord(std::uint32_t address, std::uint32_t value, Nanoseconds at) {
    return coreControl.Store(address, value, CycleAt(at)) ? ControllerSignals{} : controller->Store(address, value, at);
}

VirtualChip::Machine::Place VirtualChip::Machine::Find(std::uint32_t address, std::size_t length) const {
    const struct {
        Region region;
        std::uint32_t base;
        std::span<const std::uint8_t> bytes;
    } regions[] = {
        {Region::Sram, kSramBase, sram.Bytes()},
        {Region::Flash, controller->FlashAddress(), flashArray.Bytes()},
        {Region::CcfgWindow, kCcfgWindowBase, flashArray.Bytes().last(flashArray.SectorSize())},
        {Region::Factory, kFactoryBase, factory.Bytes()},
    };
    for (const auto& [region, base, bytes] : regions) {
        if (address >= base && std::uint64_t{address - base} + length <= bytes.size()) {
            return {region, address - base, bytes.subspan(address - base, length)};
        }
    }
    return {};
}

void VirtualChip::Machine::ObserveSram(std::uint32_t address, std::uint32_t length,
                                       std::function<void(const SramWrite&)> newObserver) {
    const bool isPlaceOfWords = address % 4 == 0 && length % 4 == 0 && Find(address, length).region == Region::Sram;
    if (length != 0 && !isPlaceOfWords) {
        throw ChipError("Only aligned words of SRAM can be observed.");
    }
    observed = {address, length};
    observer = std::move(newObserver);
    core->Observe(address, length);
}

}  // namespace flash::chip
