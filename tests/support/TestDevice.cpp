#include "tests/support/TestDevice.h"

namespace flash::test {
namespace {

std::string TextOf(const char* error) { return error == nullptr ? "" : error; }

}  // namespace

Bytes Pattern(std::size_t lengthBytes, std::uint8_t seed) {
    Bytes bytes(lengthBytes);
    for (std::size_t i = 0; i < lengthBytes; ++i) {
        bytes[i] = static_cast<std::uint8_t>((i * 7 + i / 251 * 13 + seed * 31U) % 255);
    }
    return bytes;
}

Bytes Joined(Bytes first, const Bytes& second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

std::string TestDevice::Initialize() {
    bool ready = false;
    const char* operations = nullptr;
    return TextOf(device->Initialize(&ready, &operations));
}

std::string TestDevice::Notify(std::int64_t phase) { return TextOf(device->NotifyPhase(phase)); }

std::string TestDevice::Write(const Segment& segment) {
    return TextOf(device->Write(segment.data.data(), segment.address, static_cast<std::uint32_t>(segment.data.size())));
}

std::string TestDevice::Execute(const std::string& operation) { return TextOf(device->Execute(operation.c_str())); }

std::string TestDevice::HandlesVerification() {
    bool handles = false;
    const char* error = device->HandlesVerification(0, &handles);
    return error != nullptr ? error : handles ? "true" : "false";
}

std::string TestDevice::Load(const std::vector<Segment>& segments) {
    std::string error = Notify(1);
    for (const Segment& segment : segments) {
        error = error.empty() ? Write(segment) : error;
    }
    return error.empty() ? Notify(2) : error;
}

}  // namespace flash::test
