// A chip with a device of the built module connected to it, and what a careful host does with both.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "tests/support/LoadedModule.h"
#include "tests/support/TestTarget.h"

namespace flash::test {

using Bytes = std::vector<std::uint8_t>;

// Data for flash. Neighbouring bytes differ, and so do the same places of different data.
Bytes Pattern(std::size_t lengthBytes, std::uint8_t seed);

struct Segment {
    std::uint32_t address;
    Bytes data;
};

using DeviceMaker = std::function<DevicePointer(const char* deviceName, IFlashHost* host)>;

class ConnectedChip {
public:
    explicit ConnectedChip(const ChipModel& model) : ConnectedChip(model, model.reference.sectorCount) {}
    // A device of the built module, or one that is made otherwise.
    ConnectedChip(const ChipModel& model, std::uint32_t sectorCount, const DeviceMaker& makeDevice = MakeDevice);

    TestTarget target;
    DevicePointer device;

    // Each returns the error text, or an empty one for success.
    std::string Initialize();
    std::string Notify(std::int64_t phase);
    std::string Write(const Segment& segment);
    std::string Execute(const std::string& operation);
    // Phase 1, all writes, phase 2; ends at the first error.
    std::string Load(const std::vector<Segment>& segments);

    // Forgets the calls and messages so far, and the commands that the flashloader took.
    void ForgetPast();

    Bytes Flash() const { return target.host.memory.Bytes(0, target.FlashEnd()); }
    Bytes FlashAt(std::uint32_t address, std::size_t lengthBytes) const {
        return target.host.memory.Bytes(address, lengthBytes);
    }
    std::string& Property(const std::string& name) { return target.host.properties[name]; }
};

// An initialized device, with nothing recorded.
struct InitializedChip : ConnectedChip {
    explicit InitializedChip(const ChipModel& model) : InitializedChip(model, model.reference.sectorCount) {}
    InitializedChip(const ChipModel& model, std::uint32_t sectorCount);
};

// Plain enough for the name of a test: "LumoD" or "LumoF".
std::string GenerationName(const ChipModel& model);

}  // namespace flash::test
