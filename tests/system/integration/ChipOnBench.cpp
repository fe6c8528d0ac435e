#include "ChipOnBench.h"

#include <numeric>
#include <stdexcept>

#include "validator/simulation/SimulatedHost.h"

namespace flash::test {
chip::Settings FactorySettings(const ChipModel& model) {
    chip::Settings settings;
    settings.generation = &model == &kLumoF ? chip::Generation::LumoF : chip::Generation::LumoD;
    settings.identificationCode = 0x1000'0001;
    settings.primaryIeeeAddress = {0xEF, 0xCD, 0xAB, 0x89, 0x67, 0x45, 0x23, 0x01};
    settings.primaryBleAddress = {0x66, 0x55, 0x44, 0x33, 0x22, 0x11};
    settings.initialFlash.assign(model.reference.Size(), 0xFF);
    settings.initialFlash[model.reference.Size() - kCcfgSizeWordFromEnd + 2] = kCcfgSize;
    settings.initialFlash[model.reference.Size() - kCcfgSizeWordFromEnd + 3] = 0;
    return settings;
}

ChipOnBench::ChipOnBench(const ChipModel& model, const chip::Settings& settings)
    : ConnectedHost(settings), TestDevice(MakeDevice(model.deviceName, &host)) {
    host.properties = simulation::SimulatedHost(Simulated(model, model.reference.sectorCount)).properties;
    host.properties["DeviceFlashloaderFile"] =
        std::string(&model == &kLumoF ? "lumof" : "lumod") +
        (settings.controller == kDoubleWords ? "-double-words.elf" : "-flashloader.elf");
    const std::string error = Initialize();
    if (!error.empty()) {
        throw std::runtime_error(error);
    }
}

std::uint64_t ChipOnBench::SectorErases() const {
    const std::vector<std::uint64_t>& erases = chip.GetCounters().sectorErases;
    return std::accumulate(erases.begin(), erases.end(), std::uint64_t{0});
}

}  // namespace flash::test
