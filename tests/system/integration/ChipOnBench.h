// A virtual chip of one generation, a careful host, and a device of the built module between them.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "ChipHost.h"
#include "chip/VirtualChip.h"
#include "tests/support/Generations.h"
#include "tests/support/TestDevice.h"

namespace flash::test {

// A chip as it leaves the factory: erased but for the size word of CCFG, factory addresses, revision 2.0 "RevB".
chip::Settings FactorySettings(const ChipModel& model);

// The controller of another kind for which there is a flash port.
inline constexpr chip::ControllerKind kDoubleWords = {.unitBytes = 8,
                                                      .isWrittenOnce = true,
                                                      .pageBytes = 2048,
                                                      .protectsWithOnes = true,
                                                      .watchdog = std::chrono::milliseconds(100)};

struct ConnectedHost {
    explicit ConnectedHost(const chip::Settings& settings) : chip(settings), host(chip) {}

    chip::VirtualChip chip;
    ChipHost host;
};

// With an initialized device.
struct ChipOnBench : ConnectedHost, TestDevice {
    explicit ChipOnBench(const ChipModel& model) : ChipOnBench(model, FactorySettings(model)) {}
    ChipOnBench(const ChipModel& model, const chip::Settings& settings);

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

#define FOR_BOTH_GENERATIONS(suite)                                           \
    INSTANTIATE_TEST_SUITE_P(Chips, suite, testing::Values(&kLumoD, &kLumoF), \
                             [](const auto& model) { return GenerationName(*model.param); })

}  // namespace flash::test
