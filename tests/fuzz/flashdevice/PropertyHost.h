// A host that has one property, whatever its name, and keeps what is reported.
#pragma once

#include <string>
#include <vector>

#include "tests/support/StrictHost.h"

namespace flash::fuzz {

class PropertyHost final : public test::StrictHost {
public:
    explicit PropertyHost(const std::string& text) : property(text) {}

    const char* GetProperty(const char*) override { return property.c_str(); }
    const char* ReportError(const char* text) override {
        errors.emplace_back(text);
        return nullptr;
    }

    const char* SetProperty(const char*, const char*) override { return nullptr; }
    const char* LoadProgram(const char*, const char*, const char*) override { return nullptr; }
    const char* LookUpSymbol(const char*, std::uint64_t*) override { return nullptr; }
    const char* RunTarget() override { return nullptr; }
    const char* HaltTarget() override { return nullptr; }
    const char* ReadMemory(void*, std::size_t, std::uint64_t, std::uint16_t, std::size_t) override { return nullptr; }
    const char* WriteMemory(const void*, std::size_t, std::uint64_t, std::uint16_t, std::size_t) override {
        return nullptr;
    }
    const char* ReadRegister(std::uint32_t, std::uint64_t*) override { return nullptr; }
    const char* WriteRegister(std::uint32_t, std::uint64_t) override { return nullptr; }
    const char* PrintMessage(const char*) override { return nullptr; }
    const char* GetDirectoryPath() override { return ""; }
    const char* WaitMilliseconds(std::uint32_t) override { return nullptr; }
    const char* SelectCore(const char*) override { return nullptr; }

    std::string property;
    std::vector<std::string> errors;
};

}  // namespace flash::fuzz
