// A virtual chip of one generation, a careful host, and a device of the built module between them.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "ChipHost.h"
#include "chip/VirtualChip.h"
#include "tests/support/LoadedModule.h"
#include "tests/support/TestTarget.h"

namespace flash::test {

using Bytes = std::vector<std::uint8_t>;

// Data for flash, without 0xFF. Neighbouring bytes differ, and so do the same places of different data.
Bytes Pattern(std::size_t lengthBytes, std::uint8_t seed);

struct Segment {
    std::uint32_t address;
    Bytes data;
};

// A chip as it leaves the factory: erased but for the size word of CCFG, factory addresses, revision 2.0 "RevB".
chip::Settings FactorySettings(const ChipModel& model);

struct ChipOnBench {
    // With an initialized device.
    explicit ChipOnBench(const ChipModel& model) : ChipOnBench(model, FactorySettings(model)) {}
    ChipOnBench(const ChipModel& model, const chip::Settings& settings);

    chip::VirtualChip chip;
    ChipHost host;
    DevicePointer device;

    // Each returns the error text, or an empty one for success.
    std::string Initialize();
    std::string Execute(const std::string& operation);
    // Phase 1, all writes, phase 2; ends at the first error.
    std::string Load(const std::vector<Segment>& segments);

    std::string& Property(const std::string& name) { return host.properties[name]; }
    Bytes FlashAt(std::uint32_t address, std::size_t lengthBytes) const {
        return chip.PeekMemory(address, static_cast<std::uint32_t>(lengthBytes));
    }
    std::uint32_t SectorAddress(std::uint32_t sector) const { return sector * chip.SectorSize(); }
    std::uint64_t SectorErases() const;
};

// Tests that hold for both generations.
class BothGenerations : public testing::TestWithParam<const ChipModel*> {
protected:
    const ChipModel& Model() const { return *GetParam(); }
};

std::string GenerationName(const testing::TestParamInfo<const ChipModel*>& info);

#define FOR_BOTH_GENERATIONS(suite) \
    INSTANTIATE_TEST_SUITE_P(Chips, suite, testing::Values(&kLumoD, &kLumoF), &GenerationName)

}  // namespace flash::test
