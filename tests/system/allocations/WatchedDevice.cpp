#include "tests/system/allocations/WatchedDevice.h"

#include <stdexcept>

#include "tests/system/allocations/AllocationGate.h"

namespace flash::test {
namespace {

// Passes every service on.
class UnwatchedHost final : public IFlashHost {
public:
    explicit UnwatchedHost(IFlashHost& realHost) : host(realHost) {}

    const char* GetProperty(const char* name) override { return Pass(&IFlashHost::GetProperty, name); }
    const char* SetProperty(const char* name, const char* value) override {
        return Pass(&IFlashHost::SetProperty, name, value);
    }
    const char* LoadProgram(const char* fileName, const char* options, const char* directory) override {
        return Pass(&IFlashHost::LoadProgram, fileName, options, directory);
    }
    const char* LookUpSymbol(const char* name, std::uint64_t* value) override {
        return Pass(&IFlashHost::LookUpSymbol, name, value);
    }
    const char* RunTarget() override { return Pass(&IFlashHost::RunTarget); }
    const char* HaltTarget() override { return Pass(&IFlashHost::HaltTarget); }
    const char* ReadMemory(void* buffer, std::size_t count, std::uint64_t address, std::uint16_t page,
                           std::size_t elementSize) override {
        return Pass(&IFlashHost::ReadMemory, buffer, count, address, page, elementSize);
    }
    const char* WriteMemory(const void* buffer, std::size_t count, std::uint64_t address, std::uint16_t page,
                            std::size_t elementSize) override {
        return Pass(&IFlashHost::WriteMemory, buffer, count, address, page, elementSize);
    }
    const char* ReadRegister(std::uint32_t registerNumber, std::uint64_t* value) override {
        return Pass(&IFlashHost::ReadRegister, registerNumber, value);
    }
    const char* WriteRegister(std::uint32_t registerNumber, std::uint64_t value) override {
        return Pass(&IFlashHost::WriteRegister, registerNumber, value);
    }
    const char* ReportError(const char* text) override { return Pass(&IFlashHost::ReportError, text); }
    const char* PrintMessage(const char* text) override { return Pass(&IFlashHost::PrintMessage, text); }
    const char* GetDirectoryPath() override { return Pass(&IFlashHost::GetDirectoryPath); }
    const char* WaitMilliseconds(std::uint32_t milliseconds) override {
        return Pass(&IFlashHost::WaitMilliseconds, milliseconds);
    }
    const char* SelectCore(const char* name) override { return Pass(&IFlashHost::SelectCore, name); }

    void Reserved5() override { host.Reserved5(); }
    void Reserved7() override { host.Reserved7(); }
    void Reserved8() override { host.Reserved8(); }
    void Reserved9() override { host.Reserved9(); }
    void Reserved12() override { host.Reserved12(); }
    void Reserved15() override { host.Reserved15(); }
    void Reserved16() override { host.Reserved16(); }
    void Reserved17() override { host.Reserved17(); }
    void Reserved18() override { host.Reserved18(); }
    void Reserved23() override { host.Reserved23(); }
    void Reserved24() override { host.Reserved24(); }
    void Reserved25() override { host.Reserved25(); }
    void Reserved26() override { host.Reserved26(); }

private:
    template <typename... Parameters, typename... Arguments>
    const char* Pass(const char* (IFlashHost::*service)(Parameters...), Arguments... arguments) {
        const Unwatched unwatched;
        return (host.*service)(arguments...);
    }

    IFlashHost& host;
};

// Passes every operation on.
class WatchedDevice final : public IFlashDevice2 {
public:
    explicit WatchedDevice(IFlashHost& realHost) : host(realHost) {}

    const char* Create(const char* deviceName) {
        const Watched watched;
        return CreateFlashDevice2(deviceName, "second", "third", &host, &device);
    }

    const char* Initialize(bool* ready, const char** operations) override {
        return Pass(&IFlashDevice2::Initialize, ready, operations);
    }
    const char* IsAddressInFlash(std::uint64_t address, bool* result) override {
        return Pass(&IFlashDevice2::IsAddressInFlash, address, result);
    }
    const char* IsRangeInFlash(std::uint64_t address, std::uint32_t lengthBytes, bool* result) override {
        return Pass(&IFlashDevice2::IsRangeInFlash, address, lengthBytes, result);
    }
    const char* SetTargetDataType(std::uint64_t dataType) override {
        return Pass(&IFlashDevice2::SetTargetDataType, dataType);
    }
    const char* Write(const unsigned char* data, std::uint64_t address, std::uint32_t lengthBytes) override {
        return Pass(&IFlashDevice2::Write, data, address, lengthBytes);
    }
    const char* Execute(const char* operation) override { return Pass(&IFlashDevice2::Execute, operation); }
    const char* NotifyPhase(std::int64_t phase) override { return Pass(&IFlashDevice2::NotifyPhase, phase); }
    const char* HandlesVerification(std::uint64_t address, bool* result) override {
        return Pass(&IFlashDevice2::HandlesVerification, address, result);
    }
    const char* Release() override {
        const char* result = Pass(&IFlashDevice2::Release);
        delete this;
        return result;
    }

private:
    template <typename... Parameters, typename... Arguments>
    const char* Pass(const char* (IFlashDevice2::*operation)(Parameters...), Arguments... arguments) {
        const Watched watched;
        return (device->*operation)(arguments...);
    }

    UnwatchedHost host;
    IFlashDevice2* device = nullptr;
};

}  // namespace

DevicePointer WatchedFactory::Make(const char* deviceName, IFlashHost* host) {
    auto device = std::make_unique<WatchedDevice>(*host);
    const char* failure = device->Create(deviceName);
    if (failure != nullptr) {
        error = failure;
        StopFailingAllocations();
        failure = device->Create(deviceName);
    }
    if (failure != nullptr) {
        throw std::runtime_error(failure);
    }
    return DevicePointer(device.release());
}

}  // namespace flash::test
