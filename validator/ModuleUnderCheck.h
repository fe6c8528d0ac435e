// The module under check and its devices. Nothing of it is trusted: an exception that crosses the boundary is an unmet
// expectation of the check that made the call, and so is a factory that says success without a device.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "flashdevice/interface/IFlashDevice2.h"
#include "validator/ModuleFile.h"

namespace flash::validator {

class ModuleUnderCheck {
public:
    // Throws `NotLoadable`.
    explicit ModuleUnderCheck(const std::string& modulePath);
    ModuleUnderCheck(const ModuleUnderCheck&) = delete;
    ModuleUnderCheck& operator=(const ModuleUnderCheck&) = delete;

    using Factory = decltype(&CreateFlashDevice2);
    Factory GetFactory() const { return factory; }

    // For the check of just that: otherwise the module stays until its process ends, so that one that fails at its end
    // fails no other check. Nothing of the module may be used any more.
    void Unload() const;

    std::vector<std::string> ExportedNames() const { return file.ExportedNames(); }

    // Of this process, just before it was loaded. A system may have some of its own.
    std::size_t ThreadsBefore() const { return threadsBefore; }

private:
    const std::size_t threadsBefore;
    const ModuleFile file;
    Factory factory;
};

class DeviceUnderCheck {
public:
    // Expects success.
    DeviceUnderCheck(const ModuleUnderCheck& module, const char* name, IFlashHost& host, const char* secondText = "",
                     const char* thirdText = "");
    ~DeviceUnderCheck();
    DeviceUnderCheck(const DeviceUnderCheck&) = delete;
    DeviceUnderCheck& operator=(const DeviceUnderCheck&) = delete;

    // The nine operations: the error text, null for success.
    const char* Initialize(bool* ready, const char** operations);
    const char* IsAddressInFlash(std::uint64_t address, bool* result);
    const char* IsRangeInFlash(std::uint64_t address, std::uint32_t lengthBytes, bool* result);
    const char* SetTargetDataType(std::uint64_t dataType);
    const char* Write(const std::vector<std::uint8_t>& data, std::uint64_t address);
    const char* Execute(const char* operation);
    const char* NotifyPhase(std::int64_t phase);
    const char* HandlesVerification(std::uint64_t address, bool* result);
    const char* Release();

    // The same, expected to succeed, with the result.
    void Initialize();
    bool IsInFlash(std::uint64_t address);
    bool IsRangeInFlash(std::uint64_t address, std::uint32_t lengthBytes);
    bool HandlesVerification();
    void MustWrite(const std::vector<std::uint8_t>& data, std::uint32_t address);
    void MustExecute(const char* operation);
    void MustNotify(std::int64_t phase);
    void MustLoad(const std::vector<std::uint8_t>& data, std::uint32_t address);  // phase 1, write, phase 2

private:
    IFlashDevice2* device = nullptr;
};

}  // namespace flash::validator
