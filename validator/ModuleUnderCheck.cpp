#include "validator/ModuleUnderCheck.h"

#include <exception>
#include <typeinfo>

#include "validator/Expectation.h"
#include "validator/Resources.h"

namespace flash::validator {
namespace {

constexpr char kFactoryName[] = "CreateFlashDevice2";

// Runs one call into the module.
template <typename Call>
const char* Guarded(const std::string& operation, Call call) {
    const std::string expected = operation + ": no exception leaves it";
    try {
        return call();
    } catch (const std::exception& error) {
        Fail(expected, std::string(typeid(error).name()) + ": " + Quoted(error.what()));
    } catch (...) {
        Fail(expected, "an exception of another family than the standard one");
    }
}

void MustSucceed(const std::string& operation, const char* error) {
    Expect(error == nullptr, operation + ": success", Quoted(error));
}

}  // namespace

ModuleUnderCheck::ModuleUnderCheck(const std::string& modulePath) : threadsBefore(CountThreads()), file(modulePath) {
    factory = reinterpret_cast<Factory>(file.Find(kFactoryName));
    if (factory == nullptr) {
        throw NotLoadable{std::string("it has no ") + kFactoryName};
    }
}

void ModuleUnderCheck::Unload() const {
    const std::string error = file.Unload();
    Expect(error.empty(), "the module is unloaded", Quoted(error));
}

DeviceUnderCheck::DeviceUnderCheck(const ModuleUnderCheck& module, const char* name, IFlashHost& host,
                                   const char* secondText, const char* thirdText) {
    MustSucceed(kFactoryName, Guarded(kFactoryName, [&] {
                    return module.GetFactory()(name, secondText, thirdText, &host, &device);
                }));
    Expect(device != nullptr, std::string(kFactoryName) + ": a device", "none");
}

DeviceUnderCheck::~DeviceUnderCheck() {
    try {
        Release();
    } catch (const UnmetExpectation&) {
        // A check that cares calls `Release` itself.
    }
}

const char* DeviceUnderCheck::Release() {
    IFlashDevice2* ended = device;
    device = nullptr;
    return ended == nullptr ? nullptr : Guarded("Release", [&] { return ended->Release(); });
}

const char* DeviceUnderCheck::Initialize(bool* ready, const char** operations) {
    return Guarded("Initialize", [&] { return device->Initialize(ready, operations); });
}

const char* DeviceUnderCheck::IsAddressInFlash(std::uint64_t address, bool* result) {
    return Guarded("IsAddressInFlash", [&] { return device->IsAddressInFlash(address, result); });
}

const char* DeviceUnderCheck::IsRangeInFlash(std::uint64_t address, std::uint32_t lengthBytes, bool* result) {
    return Guarded("IsRangeInFlash", [&] { return device->IsRangeInFlash(address, lengthBytes, result); });
}

const char* DeviceUnderCheck::SetTargetDataType(std::uint64_t dataType) {
    return Guarded("SetTargetDataType", [&] { return device->SetTargetDataType(dataType); });
}

const char* DeviceUnderCheck::Write(const std::vector<std::uint8_t>& data, std::uint64_t address) {
    const auto length = static_cast<std::uint32_t>(data.size());
    return Guarded("Write", [&] { return device->Write(data.data(), address, length); });
}

const char* DeviceUnderCheck::Execute(const char* operation) {
    return Guarded("Execute", [&] { return device->Execute(operation); });
}

const char* DeviceUnderCheck::NotifyPhase(std::int64_t phase) {
    return Guarded("NotifyPhase", [&] { return device->NotifyPhase(phase); });
}

const char* DeviceUnderCheck::HandlesVerification(std::uint64_t address, bool* result) {
    return Guarded("HandlesVerification", [&] { return device->HandlesVerification(address, result); });
}

void DeviceUnderCheck::Initialize() {
    bool isReady = false;
    const char* operations = nullptr;
    MustSucceed("Initialize", Initialize(&isReady, &operations));
}

bool DeviceUnderCheck::IsInFlash(std::uint64_t address) {
    bool isInFlash = false;
    MustSucceed("IsAddressInFlash", IsAddressInFlash(address, &isInFlash));
    return isInFlash;
}

bool DeviceUnderCheck::IsRangeInFlash(std::uint64_t address, std::uint32_t lengthBytes) {
    bool isInFlash = false;
    MustSucceed("IsRangeInFlash", IsRangeInFlash(address, lengthBytes, &isInFlash));
    return isInFlash;
}

bool DeviceUnderCheck::HandlesVerification() {
    bool isHandled = false;
    MustSucceed("HandlesVerification", HandlesVerification(0, &isHandled));
    return isHandled;
}

void DeviceUnderCheck::MustWrite(const std::vector<std::uint8_t>& data, std::uint32_t address) {
    MustSucceed("Write", Write(data, address));
}

void DeviceUnderCheck::MustExecute(const char* operation) {
    MustSucceed("Execute " + Quoted(operation), Execute(operation));
}

void DeviceUnderCheck::MustNotify(std::int64_t phase) {
    MustSucceed("NotifyPhase " + std::to_string(phase), NotifyPhase(phase));
}

void DeviceUnderCheck::MustLoad(const std::vector<std::uint8_t>& data, std::uint32_t address) {
    MustNotify(1);
    MustWrite(data, address);
    MustNotify(2);
}

}  // namespace flash::validator
