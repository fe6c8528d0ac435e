// A host whose services do nothing and whose target is always done, so that only the plug-in's own work is measured.
#pragma once

#include <cstring>
#include <string_view>

#include "tests/support/StrictHost.h"

namespace flash::bench {

class IdleHost final : public test::StrictHost {
public:
    const char* crcVerify = nullptr;  // "1": with CRC

    const char* GetProperty(const char* name) override {
        const std::string_view key = name;
        if (key == "FlashPageToggle") {
            return "0";
        }
        if (key == "FlashEraseSetting") {
            return "Necessary Sectors Only";
        }
        if (key == "DeviceFlashloaderFile") {
            return "flashloader.elf";
        }
        return key == "CrcVerify" ? crcVerify : nullptr;
    }
    const char* SetProperty(const char*, const char*) override { return nullptr; }
    const char* LoadProgram(const char*, const char*, const char*) override { return nullptr; }
    const char* LookUpSymbol(const char*, std::uint64_t* value) override {
        *value = 0x2000'0000;
        return nullptr;
    }
    const char* RunTarget() override { return nullptr; }
    const char* HaltTarget() override { return nullptr; }
    // All zero: a status of 0 is success.
    const char* ReadMemory(void* buffer, std::size_t count, std::uint64_t, std::uint16_t,
                           std::size_t elementSize) override {
        std::memset(buffer, 0, count * elementSize);
        return nullptr;
    }
    const char* WriteMemory(const void*, std::size_t, std::uint64_t, std::uint16_t, std::size_t) override {
        return nullptr;
    }
    const char* ReadRegister(std::uint32_t, std::uint64_t* value) override {
        *value = 0;
        return nullptr;
    }
    const char* WriteRegister(std::uint32_t, std::uint64_t) override { return nullptr; }
    const char* ReportError(const char*) override { return nullptr; }
    const char* PrintMessage(const char*) override { return nullptr; }
    const char* GetDirectoryPath() override { return ""; }
    const char* WaitMilliseconds(std::uint32_t) override { return nullptr; }
    const char* SelectCore(const char*) override { return nullptr; }
};

}  // namespace flash::bench
