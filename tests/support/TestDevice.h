// A device of the module as a careful host uses it, with each answer as a text.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/LoadedModule.h"

namespace flash::test {

using Bytes = std::vector<std::uint8_t>;

// Data for flash, without 0xFF. Neighbouring bytes differ, and so do the same places of different data.
Bytes Pattern(std::size_t lengthBytes, std::uint8_t seed);

Bytes Joined(Bytes first, const Bytes& second);

struct Segment {
    std::uint32_t address;
    Bytes data;
};

struct TestDevice {
    explicit TestDevice(DevicePointer made) : device(std::move(made)) {}

    DevicePointer device;

    // Each returns the error text, or an empty one for success.
    std::string Initialize();
    std::string Notify(std::int64_t phase);
    std::string Write(const Segment& segment);
    std::string Execute(const std::string& operation);
    std::string HandlesVerification();  // "true" or "false" for success
    // Phase 1, all writes, phase 2; ends at the first error.
    std::string Load(const std::vector<Segment>& segments);
};

}  // namespace flash::test
