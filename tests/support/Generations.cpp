#include "tests/support/Generations.h"

namespace flash::test {

const ChipModel kLumoD = {"LumoD1K128", {0x1000, 32}, "20 KB"};
const ChipModel kLumoF = {"LumoF2K352", {0x2000, 44}, "80 KB"};

std::string GenerationName(const ChipModel& model) { return std::string(model.deviceName).substr(0, 5); }

simulation::ChipModel Simulated(const ChipModel& model, std::uint32_t sectorCount) {
    return {model.reference.sectorSize, sectorCount, 3, 0x1000'0001};
}

}  // namespace flash::test
