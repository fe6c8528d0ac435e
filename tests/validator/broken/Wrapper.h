// The real plug-in's code behind a host and a device that pass every call on. Each broken module changes one of them in
// one place, so that exactly one promise is broken.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>

#include "flashdevice/boundary/FlashDeviceFactory.h"
#include "flashdevice/boundary/GenerationSelection.h"
#include "flashdevice/device/FlashDeviceLumoDor.h"
#include "flashdevice/device/FlashDeviceLumoFen.h"
#include "flashdevice/interface/IFlashDevice2.h"

namespace flash::broken {

// Between the plug-in and the host.
class Host : public IFlashHost {
public:
    explicit Host(IFlashHost& realHost) : host(realHost) {}
    virtual ~Host() = default;

    const char* GetProperty(const char* name) override { return host.GetProperty(name); }
    const char* SetProperty(const char* name, const char* value) override { return host.SetProperty(name, value); }
    const char* LoadProgram(const char* fileName, const char* options, const char* directory) override {
        return host.LoadProgram(fileName, options, directory);
    }
    const char* LookUpSymbol(const char* name, std::uint64_t* value) override { return host.LookUpSymbol(name, value); }
    const char* RunTarget() override { return host.RunTarget(); }
    void Reserved5() override {}
    const char* HaltTarget() override { return host.HaltTarget(); }
    void Reserved7() override {}
    void Reserved8() override {}
    void Reserved9() override {}
    const char* ReadMemory(void* buffer, std::size_t count, std::uint64_t address, std::uint16_t page,
                           std::size_t elementSize) override {
        return host.ReadMemory(buffer, count, address, page, elementSize);
    }
    const char* WriteMemory(const void* buffer, std::size_t count, std::uint64_t address, std::uint16_t page,
                            std::size_t elementSize) override {
        return host.WriteMemory(buffer, count, address, page, elementSize);
    }
    void Reserved12() override {}
    const char* ReadRegister(std::uint32_t registerNumber, std::uint64_t* value) override {
        return host.ReadRegister(registerNumber, value);
    }
    const char* WriteRegister(std::uint32_t registerNumber, std::uint64_t value) override {
        return host.WriteRegister(registerNumber, value);
    }
    void Reserved15() override {}
    void Reserved16() override {}
    void Reserved17() override {}
    void Reserved18() override {}
    const char* ReportError(const char* text) override { return host.ReportError(text); }
    const char* PrintMessage(const char* text) override { return host.PrintMessage(text); }
    const char* GetDirectoryPath() override { return host.GetDirectoryPath(); }
    const char* WaitMilliseconds(std::uint32_t milliseconds) override { return host.WaitMilliseconds(milliseconds); }
    void Reserved23() override {}
    void Reserved24() override {}
    void Reserved25() override {}
    void Reserved26() override {}
    const char* SelectCore(const char* name) override { return host.SelectCore(name); }

protected:
    IFlashHost& host;
};

// The 20 bytes of a command block on their way to the target.
struct Block {
    std::uint32_t address;
    std::uint32_t length;
    std::uint32_t command;
    std::uint32_t crc;
    std::uint32_t status;
};

// A host in which a broken module may change what is posted.
class PostingHost : public Host {
public:
    using Host::Host;

    const char* WriteMemory(const void* buffer, std::size_t count, std::uint64_t address, std::uint16_t page,
                            std::size_t elementSize) override {
        Block block{};
        if (count != sizeof block) {
            return host.WriteMemory(buffer, count, address, page, elementSize);
        }
        std::memcpy(&block, buffer, sizeof block);
        return Post(block, address);
    }

protected:
    virtual const char* Post(Block block, std::uint64_t address) {
        return host.WriteMemory(&block, sizeof block, address, 1, 1);
    }
};

// Between the host and the plug-in's device.
class Device : public IFlashDevice2 {
public:
    Device(IFlashDevice2* realDevice, std::unique_ptr<Host> wrappedHost)
        : device(realDevice), host(std::move(wrappedHost)) {}
    virtual ~Device() = default;

    const char* Initialize(bool* ready, const char** operations) override {
        return device->Initialize(ready, operations);
    }
    const char* IsAddressInFlash(std::uint64_t address, bool* result) override {
        return device->IsAddressInFlash(address, result);
    }
    const char* IsRangeInFlash(std::uint64_t address, std::uint32_t lengthBytes, bool* result) override {
        return device->IsRangeInFlash(address, lengthBytes, result);
    }
    const char* SetTargetDataType(std::uint64_t dataType) override { return device->SetTargetDataType(dataType); }
    const char* Write(const unsigned char* data, std::uint64_t address, std::uint32_t lengthBytes) override {
        return device->Write(data, address, lengthBytes);
    }
    const char* Execute(const char* operation) override { return device->Execute(operation); }
    const char* NotifyPhase(std::int64_t phase) override { return device->NotifyPhase(phase); }
    const char* HandlesVerification(std::uint64_t address, bool* result) override {
        return device->HandlesVerification(address, result);
    }
    const char* Release() override {
        device->Release();
        delete this;
        return nullptr;
    }

protected:
    IFlashDevice2* device;
    std::unique_ptr<Host> host;
};

// The factory's work with the device inside the wrappers.
template <typename WrappedHost, typename WrappedDevice>
const char* Create(const char* name, const char* secondText, const char* thirdText, IFlashHost* host,
                   IFlashDevice2** device) {
    using First = FlashDeviceFactory<FlashDeviceLumoDor, unsigned char, unsigned int>;
    using Second = FlashDeviceFactory<FlashDeviceLumoFen, unsigned char, unsigned int>;
    auto wrappedHost = std::make_unique<WrappedHost>(*host);
    IFlashDevice2* real = nullptr;
    const auto create = IsSecondGeneration(name) ? Second::Create : First::Create;
    const char* error = create(name, secondText, thirdText, wrappedHost.get(), &real);
    if (error == nullptr) {
        *device = new WrappedDevice(real, std::move(wrappedHost));
    }
    return error;
}

}  // namespace flash::broken

#define BROKEN_EXPORT extern "C" __attribute__((visibility("default")))

// The module's factory for one pair of wrappers.
#define BROKEN_FACTORY(HostType, DeviceType)                                                                      \
    BROKEN_EXPORT const char* CreateFlashDevice2(const char* name, const char* secondText, const char* thirdText, \
                                                 flash::IFlashHost* host, flash::IFlashDevice2** device) {        \
        return flash::broken::Create<HostType, DeviceType>(name, secondText, thirdText, host, device);            \
    }
