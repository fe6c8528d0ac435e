// Each probe call is one call of the virtual chip; its errors become ProbeError.
#include "host/virtual_chip/VirtualChipProbe.h"

#include <fmt/format.h>

#include <algorithm>

#include "host/Failure.h"
#include "host/virtual_chip/ControllerText.h"
#include "host/virtual_chip/VirtualIdentity.h"

namespace flash::host {
namespace {

constexpr std::uint32_t kIdentificationRegister = 1;
constexpr std::chrono::milliseconds kEmulatedAtOnce{1};  // so that whoever waits can look around meanwhile

// The chip's own texts say what was tried.
template <typename Work>
auto Access(Work work) {
    try {
        return work();
    } catch (const chip::ChipError& error) {
        throw ProbeError(error.what());
    }
}

chip::CoreRegister CoreRegisterOf(std::uint32_t number) {
    if (number < kFirstCoreRegister || number > kProgramCounterRegister) {
        throw ProbeError(fmt::format("The core has no register number {}", number));
    }
    return static_cast<chip::CoreRegister>(number - kFirstCoreRegister);
}

std::shared_ptr<chip::VirtualChip> ReadChip(const ChipFile& file, const std::filesystem::path& name) {
    try {
        return std::make_shared<chip::VirtualChip>(chip::VirtualChip::FromSavedState(file.Load()));
    } catch (const std::exception& error) {
        throw Failure(FailureKind::Unreachable,
                      fmt::format("Cannot power up the virtual chip in {}: {}", name.string(), error.what()));
    }
}

std::shared_ptr<chip::VirtualChip> NewChip(const chip::Settings& settings) {
    try {
        return std::make_shared<chip::VirtualChip>(settings);
    } catch (const chip::ChipError& error) {
        throw Failure(FailureKind::Unreachable, fmt::format("Cannot power up a virtual chip: {}", error.what()));
    }
}

chip::ControllerKind ControllerOf(const DeviceDescription& device) {
    try {
        return ReadController(device.controller);
    } catch (const std::invalid_argument& error) {
        throw Failure(FailureKind::BadInput,
                      fmt::format("{}: controller=\"{}\": {}", device.file.string(), device.controller, error.what()));
    }
}

}  // namespace

chip::Settings VirtualChipSettings(const DeviceDescription& device) {
    chip::Settings settings;
    settings.generation = device.IsSecondGeneration() ? chip::Generation::LumoF : chip::Generation::LumoD;
    settings.sectorCount = device.sectorCount;
    settings.ramSizeCode = static_cast<std::uint8_t>(device.ramSizeCode);
    settings.identificationCode = IdentificationCode(device);
    // Of the ranges for private use, so that they are nobody's.
    settings.primaryIeeeAddress = {0x08, 0x07, 0x06, 0x05, 0x04, 0x03, 0x02, 0x02};
    settings.primaryBleAddress = {0x06, 0x05, 0x04, 0x03, 0x02, 0xC2};
    settings.controller = ControllerOf(device);
    return settings;
}

std::unique_ptr<VirtualChipProbe> VirtualChipProbe::Open(const DeviceDescription& device,
                                                         const std::optional<std::filesystem::path>& name,
                                                         const std::optional<RadioAddress>& identity) {
    chip::Settings wanted = VirtualChipSettings(device);
    auto file = name ? std::make_unique<ChipFile>(*name) : nullptr;
    if (file && !file->Exists()) {
        SetIdentity(wanted, identity ? *identity : DrawIdentity());
    }
    auto probe = std::make_unique<VirtualChipProbe>(file && file->Exists() ? ReadChip(*file, *name) : NewChip(wanted));
    const chip::Settings& found = probe->chip->GetSettings();
    if (found.generation != wanted.generation || found.sectorCount != wanted.sectorCount) {
        throw Failure(FailureKind::Unreachable, fmt::format("{} holds {}, which is no {}; choose the right ",
                                                            name->string(), probe->Describe(), device.name) +
                                                    Field::Device + " or another file");
    }
    if (identity && *identity != IdentityOf(found)) {
        throw Failure(FailureKind::Unreachable,
                      fmt::format("{} holds the chip {}, not {}; choose another file", name->string(),
                                  IdentityOf(found).Text(), identity->Text()));
    }
    if (found.controller != wanted.controller) {
        throw Failure(FailureKind::Unreachable,
                      fmt::format("{} holds a chip whose flash controller is not that of {}; choose another file",
                                  name->string(), device.name));
    }
    probe->file = std::move(file);
    return probe;
}

std::string VirtualChipProbe::Describe() const {
    return fmt::format("a virtual {} with {} KiB of flash",
                       chip->GetSettings().generation == chip::Generation::LumoF ? "LumoF" : "LumoD",
                       chip->FlashBytes() / 1024);
}

void VirtualChipProbe::SelectRoute(const std::string& route) {
    if (route != "Cortex" && route != "Sluice") {
        throw ProbeError(fmt::format("There is no debug route \"{}\"", route));
    }
    isRouterSelected = route == "Sluice";
}

void VirtualChipProbe::Run() {
    Access([&] { chip->Run(); });
}

void VirtualChipProbe::Halt() {
    Access([&] { chip->Halt(); });
}

CoreState VirtualChipProbe::ReadCoreState() {
    return Access([&] {
        switch (chip->State()) {
            case chip::CoreState::Running:
                return CoreState{true, std::nullopt, ""};
            case chip::CoreState::LockedUp:
                return CoreState{false, std::nullopt, "locked up"};
            default:
                return CoreState{false, chip->ReadCoreRegister(chip::CoreRegister::Pc), ""};
        }
    });
}

void VirtualChipProbe::ReadMemory(std::uint32_t address, std::span<std::uint8_t> bytes, std::size_t elementSize) {
    Access([&] { chip->ReadMemory(address, bytes, static_cast<std::uint32_t>(elementSize)); });
}

void VirtualChipProbe::WriteMemory(std::uint32_t address, std::span<const std::uint8_t> bytes,
                                   std::size_t elementSize) {
    Access([&] { chip->WriteMemory(address, bytes, static_cast<std::uint32_t>(elementSize)); });
}

std::uint64_t VirtualChipProbe::ReadRegister(std::uint32_t registerNumber) {
    return Access([&]() -> std::uint64_t {
        if (!isRouterSelected) {
            return chip->ReadCoreRegister(CoreRegisterOf(registerNumber));
        }
        if (registerNumber != kIdentificationRegister) {
            throw ProbeError(fmt::format("The debug router has no register {}", registerNumber));
        }
        return chip->ReadIdentificationCode();
    });
}

void VirtualChipProbe::WriteRegister(std::uint32_t registerNumber, std::uint64_t value) {
    // Whoever programs starts a program in SRAM this way, which has no business in flash.
    Access([&] {
        chip->Allow(chip::Execution::SramOnly);
        chip->WriteCoreRegister(CoreRegisterOf(registerNumber), static_cast<std::uint32_t>(value));
    });
}

void VirtualChipProbe::Pause(std::chrono::microseconds duration) { chip->Pause(duration); }

bool VirtualChipProbe::PauseWhileWordIs(std::uint32_t address, std::uint32_t value, std::chrono::microseconds bound) {
    return chip->PauseWhileWordIs(address, value, bound);
}

std::chrono::nanoseconds VirtualChipProbe::Now() { return chip->Now(); }

// ---- Debugging

void VirtualChipProbe::Reset() {
    chip->Allow(chip::Execution::FlashToo);
    chip->Restart();
}

std::uint32_t VirtualChipProbe::ReadCoreRegister(std::uint32_t number) {
    return Access([&] { return chip->ReadCoreRegister(static_cast<chip::CoreRegister>(number)); });
}

void VirtualChipProbe::WriteCoreRegister(std::uint32_t number, std::uint32_t value) {
    Access([&] { chip->WriteCoreRegister(static_cast<chip::CoreRegister>(number), value); });
}

// The chip's comparators do for both kinds: they work in SRAM, too, and leave its bytes alone.
bool VirtualChipProbe::InsertBreakpoint(BreakpointKind, std::uint32_t address) {
    try {
        chip->InsertBreakpoint(address);
        return true;
    } catch (const chip::ChipError&) {
        return false;
    }
}

void VirtualChipProbe::RemoveBreakpoint(BreakpointKind, std::uint32_t address) { chip->RemoveBreakpoint(address); }

void VirtualChipProbe::Resume() {
    chip->Allow(chip::Execution::FlashToo);
    Run();
}

void VirtualChipProbe::Step() {
    Access([&] {
        chip->Allow(chip::Execution::FlashToo);
        chip->StepInstruction();
    });
}

std::optional<DebugStop> VirtualChipProbe::AwaitStop(std::chrono::nanoseconds bound) {
    if (!chip->PauseWhileRunning(std::min(bound, std::chrono::nanoseconds(kEmulatedAtOnce)))) {
        return std::nullopt;
    }
    if (chip->State() != chip::CoreState::LockedUp) {
        return DebugStop{DebugStop::Cause::Breakpoint, ""};
    }
    Halt();  // its registers can be read then
    return DebugStop{DebugStop::Cause::Fault, chip->TroubleText()};
}

}  // namespace flash::host
