// Each probe call is one call of the virtual chip; its errors become ProbeError.
#include "host/virtual_chip/VirtualChipProbe.h"

#include <fmt/format.h>

#include "host/Failure.h"

namespace flash::host {
namespace {

constexpr std::uint32_t kIdentificationRegister = 1;
constexpr std::uint32_t kFirstRevisionBit = 28;

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

}  // namespace

chip::Settings VirtualChipSettings(const DeviceDescription& device) {
    chip::Settings settings;
    settings.generation = device.IsSecondGeneration() ? chip::Generation::LumoF : chip::Generation::LumoD;
    settings.sectorCount = device.sectorCount;
    settings.ramSizeCode = static_cast<std::uint8_t>(device.ramSizeCode);
    settings.identificationCode = device.revisionCode << kFirstRevisionBit | 1;
    // Of the ranges for private use, so that they are nobody's.
    settings.primaryIeeeAddress = {0x08, 0x07, 0x06, 0x05, 0x04, 0x03, 0x02, 0x02};
    settings.primaryBleAddress = {0x06, 0x05, 0x04, 0x03, 0x02, 0xC2};
    return settings;
}

std::unique_ptr<VirtualChipProbe> VirtualChipProbe::Open(const DeviceDescription& device,
                                                         const std::optional<std::filesystem::path>& name) {
    const chip::Settings wanted = VirtualChipSettings(device);
    auto file = name ? std::make_unique<ChipFile>(*name) : nullptr;
    auto probe = std::make_unique<VirtualChipProbe>(
        file && file->Exists() ? ReadChip(*file, *name) : std::make_shared<chip::VirtualChip>(wanted));
    const chip::Settings& found = probe->chip->GetSettings();
    if (found.generation != wanted.generation || found.sectorCount != wanted.sectorCount) {
        throw Failure(FailureKind::Unreachable, fmt::format("{} holds {}, which is no {}; choose the right ",
                                                            name->string(), probe->Describe(), device.name) +
                                                    Field::Device + " or another file");
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
    Access([&] { chip->WriteCoreRegister(CoreRegisterOf(registerNumber), static_cast<std::uint32_t>(value)); });
}

void VirtualChipProbe::Pause(std::chrono::microseconds duration) { chip->Pause(duration); }

bool VirtualChipProbe::PauseWhileWordIs(std::uint32_t address, std::uint32_t value, std::chrono::microseconds bound) {
    return chip->PauseWhileWordIs(address, value, bound);
}

std::chrono::nanoseconds VirtualChipProbe::Now() { return chip->Now(); }

}  // namespace flash::host
