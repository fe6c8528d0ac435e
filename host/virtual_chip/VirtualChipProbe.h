// The virtual chip behind the probe interface. With a file, the chip's flash and factory data last between calls.
#pragma once

#include <filesystem>
#include <memory>
#include <optional>

#include "chip/VirtualChip.h"
#include "host/ccfg/RadioAddress.h"
#include "host/devices/DeviceDescription.h"
#include "host/probe/Probe.h"
#include "host/virtual_chip/ChipFile.h"
#include "host/virtual_chip/CommandTimeline.h"
#include "host/virtual_chip/Faults.h"

namespace flash::host {

// A new chip of a part: erased, with the addresses that every chip has which lives in memory only.
chip::Settings VirtualChipSettings(const DeviceDescription& device);

class VirtualChipProbe final : public Probe,
                               private TimelineService,
                               private StorageService,
                               private FaultService,
                               private DebugService {
public:
    explicit VirtualChipProbe(chip::VirtualChip virtualChip)
        : VirtualChipProbe(std::make_shared<chip::VirtualChip>(std::move(virtualChip))) {}

    // On a chip that may have been there before, and may stay.
    explicit VirtualChipProbe(std::shared_ptr<chip::VirtualChip> virtualChip) : chip(std::move(virtualChip)) {
        NameCommandLanes(*chip);
    }

    // Powers up the chip of that file, or a new one when there is no such file. A new one in a file has this identity,
    // its primary IEEE address, or draws one. Throws Failure (Unreachable) when the file is in use, holds no chip, or
    // one that does not fit the device or the identity.
    static std::unique_ptr<VirtualChipProbe> Open(const DeviceDescription& device,
                                                  const std::optional<std::filesystem::path>& name,
                                                  const std::optional<RadioAddress>& identity = std::nullopt);

    chip::VirtualChip& Chip() { return *chip; }

    std::string Describe() const override;
    void SelectRoute(const std::string& route) override;
    void Run() override;
    void Halt() override;
    CoreState ReadCoreState() override;
    void ReadMemory(std::uint32_t address, std::span<std::uint8_t> bytes, std::size_t elementSize) override;
    void WriteMemory(std::uint32_t address, std::span<const std::uint8_t> bytes, std::size_t elementSize) override;
    std::uint64_t ReadRegister(std::uint32_t registerNumber) override;
    void WriteRegister(std::uint32_t registerNumber, std::uint64_t value) override;
    void Pause(std::chrono::microseconds duration) override;
    bool PauseWhileWordIs(std::uint32_t address, std::uint32_t value, std::chrono::microseconds bound) override;
    std::chrono::nanoseconds Now() override;

    TimelineService* Timeline() override { return this; }
    StorageService* Storage() override { return file ? this : nullptr; }
    DebugService* Debugging() override { return this; }
    FaultService* Faults() override { return this; }

private:
    void WatchCommandBlocks(std::uint32_t address) override { ShowCommands(*chip, address); }
    std::string TraceJson() const override { return chip->TimelineJson(); }
    void Save() override { file->Save(chip->SaveState()); }
    void Arm(const std::string& fault) override { ArmFault(*chip, fault); }

    void Reset() override;
    std::vector<std::string> SystemRegisters() const override {
        return {std::begin(kSystemRegisters), std::end(kSystemRegisters)};
    }
    std::uint32_t ReadCoreRegister(std::uint32_t number) override;
    void WriteCoreRegister(std::uint32_t number, std::uint32_t value) override;
    bool InsertBreakpoint(BreakpointKind kind, std::uint32_t address) override;
    void RemoveBreakpoint(BreakpointKind kind, std::uint32_t address) override;
    void Resume() override;
    void Step() override;
    std::optional<DebugStop> AwaitStop(std::chrono::nanoseconds bound) override;
    void Interrupt() override { Halt(); }

    std::shared_ptr<chip::VirtualChip> chip;
    std::unique_ptr<ChipFile> file;
    bool isRouterSelected = false;
};

}  // namespace flash::host
