// The real plug-in, which the host's property "RealPlugin" names, but each call is told first: as a message, with every
// property that is not as it is before any option.
#include <dlfcn.h>

#include <array>
#include <cstring>
#include <string>

#include "flashdevice/interface/IFlashDevice2.h"

namespace {

struct Watched {
    const char* key;
    const char* standard;
    const char* toggle;  // the property counts only when this one is "1"; null for always
};

constexpr std::array kWatched = {
    Watched{"FlashEraseSetting", "Necessary Sectors Only", nullptr},
    Watched{"ProgramLoadEraseSpecificText", "", nullptr},
    Watched{"StandaloneEraseSpecificText", "", nullptr},
    Watched{"KeepCcfgSetting", "0", nullptr},
    Watched{"FlashPageToggle", "0", nullptr},
    Watched{"FlashPages", "", nullptr},
    Watched{"FlashPagesFilledWith", "0", nullptr},
    Watched{"FlashPagesFilledWithValue", "0xFF", nullptr},
    Watched{"CrcVerify", "0", nullptr},
    Watched{"RetainBleSecondaryAddr", "0", nullptr},
    Watched{"RetainIeeeSecondaryAddr", "0", nullptr},
    Watched{"OverrideBleSecondaryAddr", "0", nullptr},
    Watched{"DeviceBleSecondary", "", "OverrideBleSecondaryAddr"},
    Watched{"OverrideIeeeSecondaryAddr", "0", nullptr},
    Watched{"DeviceIeeeSecondary", "", "OverrideIeeeSecondaryAddr"},
    Watched{"WriteProtectionToggle", "0", nullptr},
    Watched{"WriteProtectionText", "", nullptr},
    Watched{"DisableBootloader", "0", nullptr},
    Watched{"DisableCpuDap", "0", nullptr},
};

class TellingDevice final : public flash::IFlashDevice2 {
public:
    TellingDevice(flash::IFlashDevice2& realDevice, flash::IFlashHost& flashHost) : real(realDevice), host(flashHost) {}

    const char* Initialize(bool* ready, const char** operations) override { return real.Initialize(ready, operations); }
    const char* IsAddressInFlash(std::uint64_t address, bool* result) override {
        return real.IsAddressInFlash(address, result);
    }
    const char* IsRangeInFlash(std::uint64_t address, std::uint32_t lengthBytes, bool* result) override {
        return real.IsRangeInFlash(address, lengthBytes, result);
    }
    const char* SetTargetDataType(std::uint64_t type) override { return real.SetTargetDataType(type); }
    const char* Write(const unsigned char* data, std::uint64_t address, std::uint32_t lengthBytes) override {
        Tell("Write " + std::to_string(lengthBytes) + " at " + std::to_string(address));
        return real.Write(data, address, lengthBytes);
    }
    const char* Execute(const char* operation) override {
        Tell(std::string("Execute ") + operation);
        return real.Execute(operation);
    }
    const char* NotifyPhase(std::int64_t phase) override {
        Tell("NotifyPhase " + std::to_string(phase));
        return real.NotifyPhase(phase);
    }
    const char* HandlesVerification(std::uint64_t address, bool* result) override {
        Tell("HandlesVerification " + std::to_string(address));
        return real.HandlesVerification(address, result);
    }
    const char* Release() override {
        real.Release();
        delete this;
        return nullptr;
    }

private:
    std::string Value(const char* key) const {
        const char* value = host.GetProperty(key);
        return value == nullptr ? "(none)" : value;
    }

    void Tell(std::string call) {
        for (const Watched& watched : kWatched) {
            const std::string value = Value(watched.key);
            if (value != watched.standard && (watched.toggle == nullptr || Value(watched.toggle) == "1")) {
                call += std::string("; ") + watched.key + "=" + value;
            }
        }
        host.PrintMessage(("told: " + call).c_str());
    }

    flash::IFlashDevice2& real;
    flash::IFlashHost& host;
};

}  // namespace

extern "C" __attribute__((visibility("default"))) const char* CreateFlashDevice2(const char* name, const char* a,
                                                                                 const char* b, flash::IFlashHost* host,
                                                                                 flash::IFlashDevice2** device) {
    void* module = dlopen(host->GetProperty("RealPlugin"), RTLD_NOW | RTLD_LOCAL);
    if (module == nullptr) {
        return "the real plug-in cannot be loaded";
    }
    const auto create = reinterpret_cast<decltype(&CreateFlashDevice2)>(dlsym(module, "CreateFlashDevice2"));
    flash::IFlashDevice2* real = nullptr;
    const char* error = create(name, a, b, host, &real);
    if (error == nullptr) {
        *device = new TellingDevice(*real, *host);
    }
    return error;
}
