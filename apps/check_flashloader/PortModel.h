// The model of a flash controller from a shared library (firmware/check/model.h), as a chip's controller.
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <span>
#include <vector>

#include "chip/Controller.h"
#include "firmware/check/model.h"

namespace flash::flashloader_check {

// A library that is loaded for good. It has one controller, so there is one chip with it at a time.
class ModelLibrary {
public:
    // Throws std::runtime_error for a file that is none, or that lacks a function.
    explicit ModelLibrary(const std::filesystem::path& file);

    void (*begin)();
    void (*powerUp)();
    void (*arm)(std::uint32_t operation, Mishap mishap);
    void (*protectSector)(std::uint32_t address);
    std::uint32_t (*flashBytes)();
    std::uint32_t (*sectorBytes)();
    const std::uint8_t* (*flash)();
    void (*place)(std::uint32_t address, const std::uint8_t* bytes, std::uint32_t length);
    std::uint32_t (*operations)();
    std::uint32_t (*rulesBroken)();
    std::uint32_t (*watchdogBites)();
    std::uint64_t (*nanoseconds)();
    void (*pass)(std::uint64_t nanoseconds);
    std::uint32_t (*ticksPerMillisecond)();
    const std::uint32_t* (*registerPages)();
    std::uint32_t (*readRegister)(std::uint32_t address);
    void (*writeRegister)(std::uint32_t address, std::uint32_t value);
};

// The controller of a new chip. `library` must outlive it; flash is read at that address.
std::unique_ptr<chip::Controller> ControllerFrom(const ModelLibrary& library, std::uint32_t flashAddress);

}  // namespace flash::flashloader_check
