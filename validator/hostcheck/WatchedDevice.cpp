// Looking comes first, then the plug-in's device, then what its answer changes for the calls behind it.
#include "validator/hostcheck/WatchedDevice.h"

#include <string_view>
#include <utility>
#include <vector>

namespace flash::hostcheck {
namespace {

constexpr char kOnPurpose[] = "The checker fails this call on purpose";
constexpr char kTimedOut[] = "no sign of life from the host's target: the checker plays the chip from here on";

bool IsSecondGeneration(const std::string& name) { return name.size() > 5 && (name[5] == '2' || name[5] == '4'); }

// Its address is the thread's name here, on every system.
const void* ThisThread() {
    static thread_local char mark;
    return &mark;
}

// The sum that tells whether data were changed: FNV-1a.
std::uint64_t SumOf(const unsigned char* data, std::uint32_t lengthBytes) {
    std::uint64_t sum = 0xCBF2'9CE4'8422'2325;
    for (std::uint32_t i = 0; data != nullptr && i < lengthBytes; ++i) {
        sum = (sum ^ data[i]) * 0x100'0000'01B3;
    }
    return sum;
}

}  // namespace

WatchedDevice::WatchedDevice(Factory pluginFactory, std::string deviceName, IFlashHost* host, Findings& found,
                             Plan& checkPlan)
    : factory(pluginFactory),
      name(std::move(deviceName)),
      findings(found),
      plan(checkPlan),
      services(host, found, IsSecondGeneration(name) ? simulation::kSecondGeneration : simulation::kFirstGeneration),
      watch(found, IsSecondGeneration(name) ? 0x2000 : 0x1000) {
    if (plan.chip == Chip::Own) {
        services.PlayChip();
    }
}

WatchedDevice::~WatchedDevice() {
    if (device != nullptr) {
        device->Release();
    }
}

const char* WatchedDevice::Create() { return factory(name.c_str(), "", "", &services, &device); }

const char* WatchedDevice::WhyNot(const char* operation, const void* inside) {
    const bool isThisThread = inside == ThisThread();
    if (inside != nullptr) {
        findings.See(isThisThread ? Rule::NotFromInside : Rule::OneAtATime, false,
                     std::string(operation) + (isThisThread ? " from inside of a service" : " while another one ran"));
        return "The device is being asked something else";
    }
    findings.See(Rule::ReleaseIsLast, !isReleased, operation);
    if (isReleased) {
        return "The device is released";
    }
    const bool isAlive = services.IsHostAlive();
    findings.See(Rule::HostOutlivesDevices, isAlive, std::string(operation) + ", and the services are gone");
    const bool isRelease = std::string_view(operation) == "Release";  // asks nothing of them
    return isAlive || isRelease ? nullptr : "The host's services are gone";
}

template <typename Work>
const char* WatchedDevice::Enter(const char* operation, Work work) {
    const void* inside = nullptr;
    const bool isIn = caller.compare_exchange_strong(inside, ThisThread());
    if (const char* why = WhyNot(operation, inside)) {
        if (isIn) {
            caller = nullptr;
        }
        return why;
    }
    findings.See(Rule::NotFromInside, true, "");
    findings.See(Rule::OneAtATime, true, "");
    owner = owner == nullptr ? ThisThread() : owner;
    findings.See(Rule::SameThread, owner == ThisThread(), std::string(operation) + " on another thread");
    services.BeginOperation();
    const char* answer = work();
    services.EndOperation(answer);
    caller = nullptr;
    return answer;
}

bool WatchedDevice::MustSwitch() const {
    return plan.chip == Chip::Auto && !services.IsPlaying() && services.LooksDead();
}

void WatchedDevice::PlayChip() {
    findings.Note(kTimedOut);
    services.PlayChip();
    device->Release();
    device = nullptr;
    if (Create() != nullptr) {
        return;
    }
    bool isReady = false;
    const char* names = nullptr;
    services.BeginOperation();
    device->Initialize(&isReady, &names);
    if (watch.IsInLoad()) {
        device->NotifyPhase(1);
    }
}

template <typename Work>
const char* WatchedDevice::OnChip(Work work) {
    const char* answer = work();
    if (!MustSwitch()) {
        return answer;
    }
    PlayChip();
    return device == nullptr ? "The checker has no device" : work();
}

void WatchedDevice::SeePlace(const char* operation, const void* place) {
    findings.See(Rule::ResultPlaces, place != nullptr, std::string(operation) + " has null for a result");
}

std::uint64_t WatchedDevice::FlashBytes() {
    const std::string text = services.Setting("DeviceInfoFlashSize");  // "352 KB (44 sectors)"
    std::uint64_t kibibytes = 0;
    for (const char digit : text) {
        if (digit < '0' || digit > '9' || kibibytes > 0xFFFF) {
            break;
        }
        kibibytes = kibibytes * 10 + static_cast<std::uint64_t>(digit - '0');
    }
    return kibibytes * 1024;
}

const char* WatchedDevice::Initialize(bool* ready, const char** operations) {
    return Enter("Initialize", [&]() -> const char* {
        SeePlace("Initialize", ready);
        SeePlace("Initialize", operations);
        watch.OnInitialize();
        const char* answer =
            plan.MustFail("initialize") ? kOnPurpose : OnChip([&] { return device->Initialize(ready, operations); });
        watch.OnInitialized(answer == nullptr);
        if (answer == nullptr) {
            operationNames = *operations;
        }
        return answer;
    });
}

const char* WatchedDevice::IsAddressInFlash(std::uint64_t address, bool* result) {
    return Enter("IsAddressInFlash", [&] {
        SeePlace("IsAddressInFlash", result);
        watch.OnAddress(address);
        return OnChip([&] { return device->IsAddressInFlash(address, result); });
    });
}

const char* WatchedDevice::IsRangeInFlash(std::uint64_t address, std::uint32_t lengthBytes, bool* result) {
    return Enter("IsRangeInFlash", [&] {
        SeePlace("IsRangeInFlash", result);
        watch.OnAddress(address);
        return OnChip([&] { return device->IsRangeInFlash(address, lengthBytes, result); });
    });
}

const char* WatchedDevice::SetTargetDataType(std::uint64_t dataType) {
    return Enter("SetTargetDataType", [&] { return device->SetTargetDataType(dataType); });
}

const char* WatchedDevice::Write(const unsigned char* data, std::uint64_t address, std::uint32_t lengthBytes) {
    return Enter("Write", [&]() -> const char* {
        const WriteSettings settings{services.Setting("FlashEraseSetting"), services.Setting("KeepCcfgSetting") == "1"};
        watch.OnWrite({data, address, lengthBytes}, settings, FlashBytes());
        const std::uint64_t sum = SumOf(data, lengthBytes);
        const char* answer =
            plan.MustFail("write") ? kOnPurpose : OnChip([&] { return device->Write(data, address, lengthBytes); });
        if (data != nullptr) {
            findings.See(Rule::WriteDataStays, SumOf(data, lengthBytes) == sum, "the data changed during Write");
        }
        watch.OnWritten(answer == nullptr);
        return answer;
    });
}

const char* WatchedDevice::Execute(const char* operation) {
    return Enter("Execute", [&]() -> const char* {
        watch.OnExecute(operation, operationNames);
        return plan.MustFail("execute") ? kOnPurpose : OnChip([&] { return device->Execute(operation); });
    });
}

const char* WatchedDevice::NotifyPhase(std::int64_t phase) {
    return Enter("NotifyPhase", [&]() -> const char* {
        watch.OnPhase(phase);
        const std::string place = "phase" + std::to_string(phase);
        const char* answer = plan.MustFail(place) ? kOnPurpose : OnChip([&] { return device->NotifyPhase(phase); });
        watch.OnPhaseEnded(phase, answer == nullptr);
        return answer;
    });
}

const char* WatchedDevice::HandlesVerification(std::uint64_t address, bool* result) {
    return Enter("HandlesVerification", [&] {
        SeePlace("HandlesVerification", result);
        watch.OnAddress(address);
        return OnChip([&] { return device->HandlesVerification(address, result); });
    });
}

const char* WatchedDevice::Release() {
    return Enter("Release", [&]() -> const char* {
        watch.OnRelease();
        isReleased = true;
        device->Release();
        device = nullptr;
        return nullptr;
    });
}

}  // namespace flash::hostcheck
