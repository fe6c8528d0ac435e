// A host that has one property, whatever its name, and keeps what is reported.
#pragma once

#include <string>
#include <vector>

#include "flashdevice/boundary/IFlashHost.h"

namespace flash::fuzz {

class PropertyHost final : public IFlashHost {
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
    void Reserved5() override {}
    const char* HaltTarget() override { return nullptr; }
    void Reserved7() override {}
    void Reserved8() override {}
    void Reserved9() override {}
    const char* ReadMemory(void*, std::size_t, std::uint64_t, std::uint16_t, std::size_t) override { return nullptr; }
    const char* WriteMemory(const void*, std::size_t, std::uint64_t, std::uint16_t, std::size_t) override {
        return nullptr;
    }
    void Reserved12() override {}
    const char* ReadRegister(std::uint32_t, std::uint64_t*) override { return nullptr; }
    const char* WriteRegister(std::uint32_t, std::uint64_t) override { return nullptr; }
    void Reserved15() override {}
    void Reserved16() override {}
    void Reserved17() override {}
    void Reserved18() override {}
    const char* PrintMessage(const char*) override { return nullptr; }
    const char* GetDirectoryPath() override { return ""; }
    const char* WaitMilliseconds(std::uint32_t) override { return nullptr; }
    void Reserved23() override {}
    void Reserved24() override {}
    void Reserved25() override {}
    void Reserved26() override {}
    const char* SelectCore(const char*) override { return nullptr; }

    std::string property;
    std::vector<std::string> errors;
};

}  // namespace flash::fuzz
