// The flash plug-in as a module: loaded at run time, asked for a device, released and unloaded in this order.
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>

#include "flashdevice/interface/IFlashDevice2.h"
#include "host/plugin/PluginTexts.h"

namespace flash::host {

inline constexpr const char* kFactoryName = "CreateFlashDevice2";

// A loaded module. Failing to load it, or a module without the factory, throws Failure (Unreachable).
class PluginModule {
public:
    explicit PluginModule(const std::filesystem::path& path);
    ~PluginModule();
    PluginModule(const PluginModule&) = delete;
    PluginModule& operator=(const PluginModule&) = delete;

    const std::filesystem::path& Path() const { return path; }

    using Factory = decltype(&CreateFlashDevice2);
    Factory GetFactory() const { return factory; }

private:
    std::filesystem::path path;
    void* handle;
    Factory factory;
};

// What failed in the plug-in. The session adds what the chip answered.
class PluginError : public std::runtime_error {
public:
    explicit PluginError(PluginAnswer pluginAnswer)
        : std::runtime_error(pluginAnswer.cause), answer(std::move(pluginAnswer)) {}

    const PluginAnswer& Answer() const { return answer; }

private:
    PluginAnswer answer;
};

// A device of the module, released at the end. Error texts become PluginError, and so does any exception that a module
// lets out of an operation.
class PluginDevice {
public:
    // Throws Failure (Unreachable) whatever way the factory fails: a text, an exception, or no device.
    PluginDevice(const PluginModule& module, const std::string& partName, IFlashHost& host);
    ~PluginDevice();
    PluginDevice(const PluginDevice&) = delete;
    PluginDevice& operator=(const PluginDevice&) = delete;

    // The names that `Execute` knows. A device that is not ready afterwards is a PluginError.
    std::string Initialize();
    bool IsRangeInFlash(std::uint64_t address, std::uint32_t lengthBytes);
    void Write(const std::uint8_t* data, std::uint64_t address, std::uint32_t lengthBytes);
    void Execute(const std::string& operation);
    void NotifyPhase(std::int64_t phase);
    bool HandlesVerification(std::uint64_t address);

private:
    IFlashDevice2* device = nullptr;
};

}  // namespace flash::host
