// A plug-in that misbehaves on demand: the host's property "FakeBehaviour" says how. Never links the host.
#include <cstring>
#include <stdexcept>
#include <string>

#include "flashdevice/interface/IFlashDevice2.h"

namespace {

class FakeDevice final : public flash::IFlashDevice2 {
public:
    explicit FakeDevice(flash::IFlashHost& flashHost) : host(flashHost) {}

    const char* Initialize(bool* ready, const char** operations) override {
        *ready = !Behaves("not ready");
        *operations = "Erase, BlankCheck";
        host.SetProperty("DeviceInfoFlashSize", Behaves("odd size") ? "100 KB (3 sectors)" : "128 KB (32 sectors)");
        return Behaves("Initialize fails") ? "no chip answers" : nullptr;
    }
    const char* IsAddressInFlash(std::uint64_t, bool* result) override {
        *result = true;
        return nullptr;
    }
    const char* IsRangeInFlash(std::uint64_t address, std::uint32_t lengthBytes, bool* result) override {
        *result = address + lengthBytes <= 0x20000;
        return nullptr;
    }
    const char* SetTargetDataType(std::uint64_t) override { return "Unsupported target data type"; }
    const char* Write(const unsigned char*, std::uint64_t, std::uint32_t) override {
        if (Behaves("Write throws")) {
            throw std::runtime_error("thrown by Write");
        }
        if (Behaves("Write throws a number")) {
            throw 42;
        }
        return Behaves("Write fails silently") ? "" : nullptr;
    }
    const char* Execute(const char* operation) override {
        if (Behaves("reports an error")) {
            host.ReportError("Flash Programmer: Error erasing flash.");
        }
        if (std::strcmp(operation, "BlankCheck") == 0 && !Behaves("says nothing")) {
            host.PrintMessage(Behaves("programmed") ? "Blank Check: Device flash is programmed"
                                                    : "Blank Check: Device flash is blank");
        }
        return nullptr;
    }
    const char* NotifyPhase(std::int64_t) override { return Behaves("phase fails") ? "the phase failed" : nullptr; }
    const char* HandlesVerification(std::uint64_t, bool* result) override {
        *result = true;
        return nullptr;
    }
    const char* Release() override {
        host.PrintMessage("released");
        delete this;
        return nullptr;
    }

private:
    bool Behaves(const char* behaviour) const {
        const char* value = host.GetProperty("FakeBehaviour");
        return value != nullptr && std::strcmp(value, behaviour) == 0;
    }

    flash::IFlashHost& host;
};

}  // namespace

extern "C" __attribute__((visibility("default"))) const char* CreateFlashDevice2(const char*, const char*, const char*,
                                                                                 flash::IFlashHost* host,
                                                                                 flash::IFlashDevice2** device) {
    const char* value = host->GetProperty("FakeBehaviour");
    const std::string behaviour = value == nullptr ? "" : value;
    if (behaviour == "factory fails") {
        return "out of memory";
    }
    if (behaviour == "factory throws") {
        throw std::invalid_argument("invalid stoi argument");
    }
    if (behaviour == "factory throws a number") {
        throw 42;
    }
    if (behaviour != "factory gives nothing") {
        *device = new FakeDevice(*host);
    }
    return nullptr;
}
