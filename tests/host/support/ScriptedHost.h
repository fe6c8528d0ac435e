// Host services without a target: one property, and a list of messages. For tests of what stands around a plug-in.
#pragma once

#include <cstring>
#include <string>
#include <vector>

#include "tests/support/StrictHost.h"

namespace flash::host {

class ScriptedHost final : public test::StrictHost {
public:
    explicit ScriptedHost(std::string fakeBehaviour = "") : behaviour(std::move(fakeBehaviour)) {}

    const char* GetProperty(const char* name) override {
        return std::strcmp(name, "FakeBehaviour") == 0 ? behaviour.c_str() : nullptr;
    }
    const char* SetProperty(const char*, const char*) override { return nullptr; }
    const char* LoadProgram(const char*, const char*, const char*) override { return kNothingThere; }
    const char* LookUpSymbol(const char*, std::uint64_t*) override { return kNothingThere; }
    const char* RunTarget() override { return kNothingThere; }
    const char* HaltTarget() override { return kNothingThere; }
    const char* ReadMemory(void*, std::size_t, std::uint64_t, std::uint16_t, std::size_t) override {
        return kNothingThere;
    }
    const char* WriteMemory(const void*, std::size_t, std::uint64_t, std::uint16_t, std::size_t) override {
        return kNothingThere;
    }
    const char* ReadRegister(std::uint32_t, std::uint64_t*) override { return kNothingThere; }
    const char* WriteRegister(std::uint32_t, std::uint64_t) override { return kNothingThere; }
    const char* ReportError(const char*) override { return nullptr; }
    const char* PrintMessage(const char* text) override {
        messages.emplace_back(text);
        return nullptr;
    }
    const char* GetDirectoryPath() override { return ""; }
    const char* WaitMilliseconds(std::uint32_t) override { return nullptr; }
    const char* SelectCore(const char*) override { return kNothingThere; }

    std::vector<std::string> messages;

private:
    static constexpr const char* kNothingThere = "there is no target";
    std::string behaviour;
};

}  // namespace flash::host
