#include "tests/system/scenarios/ConnectedChip.h"

#include <stdexcept>

namespace flash::test {
namespace {

std::string TextOf(const char* error) { return error == nullptr ? "" : error; }

}  // namespace

Bytes Pattern(std::size_t lengthBytes, std::uint8_t seed) {
    Bytes bytes(lengthBytes);
    for (std::size_t i = 0; i < lengthBytes; ++i) {
        bytes[i] = static_cast<std::uint8_t>(seed + i * 7 + i / 251);
    }
    return bytes;
}

ConnectedChip::ConnectedChip(const ChipModel& model, std::uint32_t sectorCount, const DeviceMaker& makeDevice)
    : target(model, sectorCount), device(makeDevice(model.deviceName, &target.host)) {}

std::string ConnectedChip::Initialize() {
    bool ready = false;
    const char* operations = nullptr;
    return TextOf(device->Initialize(&ready, &operations));
}

std::string ConnectedChip::Notify(std::int64_t phase) { return TextOf(device->NotifyPhase(phase)); }

std::string ConnectedChip::Write(const Segment& segment) {
    return TextOf(device->Write(segment.data.data(), segment.address, static_cast<std::uint32_t>(segment.data.size())));
}

std::string ConnectedChip::Execute(const std::string& operation) { return TextOf(device->Execute(operation.c_str())); }

std::string ConnectedChip::Load(const std::vector<Segment>& segments) {
    std::string error = Notify(1);
    for (const Segment& segment : segments) {
        error = error.empty() ? Write(segment) : error;
    }
    return error.empty() ? Notify(2) : error;
}

void ConnectedChip::ForgetPast() {
    target.host.ClearRecord();
    target.flashloader.taken.clear();
}

InitializedChip::InitializedChip(const ChipModel& model, std::uint32_t sectorCount)
    : ConnectedChip(model, sectorCount) {
    const std::string error = Initialize();
    if (!error.empty()) {
        throw std::runtime_error(error);
    }
    ForgetPast();
}

std::string GenerationName(const ChipModel& model) { return std::string(model.deviceName).substr(0, 5); }

}  // namespace flash::test
