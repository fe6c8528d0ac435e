// A chip in memory with a device of the built module connected to it.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "tests/support/CallTexts.h"
#include "tests/support/EraseSettings.h"
#include "tests/support/Generations.h"
#include "tests/support/TestDevice.h"

namespace flash::test {

using simulation::AnswerAfterPolls;
using simulation::AnswerWithStatus;
using simulation::ChipMemory;
using simulation::kAnswerNever;
using simulation::SimulatedFlashloader;
using simulation::SimulatedHost;

using DeviceMaker = std::function<DevicePointer(const char* deviceName, IFlashHost* host)>;

// Its flashloader is strict.
struct ChipInMemory {
    ChipInMemory(const ChipModel& chipModel, std::uint32_t sectorCount);

    const ChipModel& model;
    FlashGeometry geometry;
    SimulatedHost host;
};

// What loading its flashloader calls, but for the readings of settings.
extern const Texts kLoadCalls;

// A device of the built module, or one that is made otherwise.
struct ConnectedChip : ChipInMemory, TestDevice {
    explicit ConnectedChip(const ChipModel& chipModel) : ConnectedChip(chipModel, chipModel.reference.sectorCount) {}
    ConnectedChip(const ChipModel& chipModel, std::uint32_t sectorCount, const DeviceMaker& makeDevice = MakeDevice);

    const Bytes& Flash() const { return host.memory.flash; }
    Bytes FlashAt(std::uint32_t address, std::size_t lengthBytes) { return host.memory.Bytes(address, lengthBytes); }
    Texts Commands() const { return TextsOf(host.flashloader.commands); }  // posted so far
    // The host calls but for the readings of settings.
    Texts Calls() const { return TextsOf(Without(host.calls, {Service::GetProperty})); }
    std::uint32_t FlashEnd() const { return geometry.Size(); }  // address behind flash
    std::string& Property(const std::string& name) { return host.properties[name]; }
    void SwitchOn(const char* option) { host.properties[option] = std::string("1"); }
    void SetErase(const char* setting) { host.properties["FlashEraseSetting"] = std::string(setting); }
    void SkipSectors(const std::string& list);
};

// An initialized device, with nothing recorded.
struct InitializedChip : ConnectedChip {
    explicit InitializedChip(const ChipModel& chipModel)
        : InitializedChip(chipModel, chipModel.reference.sectorCount) {}
    InitializedChip(const ChipModel& chipModel, std::uint32_t sectorCount);

    // From here on messages are verbose; a load has started.
    void StartVerbosely();
    void LoadFlashloader();
};

}  // namespace flash::test
