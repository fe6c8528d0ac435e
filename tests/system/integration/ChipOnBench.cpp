#include "ChipOnBench.h"

#include <numeric>
#include <stdexcept>

namespace flash::test {
namespace {

std::string TextOrNothing(const char* error) { return error == nullptr ? "" : error; }

}  // namespace

Bytes Pattern(std::size_t lengthBytes, std::uint8_t seed) {
    Bytes bytes(lengthBytes);
    for (std::size_t i = 0; i < lengthBytes; ++i) {
        bytes[i] = static_cast<std::uint8_t>((i * 7 + i / 251 * 13 + seed * 31U) % 255);
    }
    return bytes;
}

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

ChipOnBench::ChipOnBench(const ChipModel& model, const chip::Settings& settings) : chip(settings), host(chip) {
    host.properties = TestTarget(model).host.properties;
    host.properties["DeviceFlashloaderFile"] = &model == &kLumoF ? "lumof-flashloader.elf" : "lumod-flashloader.elf";
    device = MakeDevice(model.deviceName, &host);
    const std::string error = Initialize();
    if (!error.empty()) {
        throw std::runtime_error(error);
    }
}

std::string ChipOnBench::Initialize() {
    bool ready = false;
    const char* operations = nullptr;
    return TextOrNothing(device->Initialize(&ready, &operations));
}

std::string ChipOnBench::Execute(const std::string& operation) {
    return TextOrNothing(device->Execute(operation.c_str()));
}

std::string ChipOnBench::Load(const std::vector<Segment>& segments) {
    std::string error = TextOrNothing(device->NotifyPhase(1));
    for (const Segment& segment : segments) {
        if (error.empty()) {
            const auto length = static_cast<std::uint32_t>(segment.data.size());
            error = TextOrNothing(device->Write(segment.data.data(), segment.address, length));
        }
    }
    return error.empty() ? TextOrNothing(device->NotifyPhase(2)) : error;
}

std::uint64_t ChipOnBench::SectorErases() const {
    const std::vector<std::uint64_t>& erases = chip.GetCounters().sectorErases;
    return std::accumulate(erases.begin(), erases.end(), std::uint64_t{0});
}

std::string GenerationName(const testing::TestParamInfo<const ChipModel*>& info) {
    return info.param == &kLumoF ? "LumoF" : "LumoD";
}

}  // namespace flash::test
