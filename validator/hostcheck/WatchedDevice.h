// A device as the host gets it: the plug-in's own device does the work, over services that are watched, and each call
// is looked at before it gets there. It stays in memory behind its release, so that a later call is noticed.
#pragma once

#include <atomic>
#include <string>

#include "flashdevice/interface/IFlashDevice2.h"
#include "validator/hostcheck/CallWatch.h"
#include "validator/hostcheck/Plan.h"
#include "validator/hostcheck/WatchedHost.h"

namespace flash::hostcheck {

// The plug-in's factory.
using Factory = decltype(&CreateFlashDevice2);

class WatchedDevice final : public IFlashDevice2 {
public:
    // `found` and `plan` must outlive this, and so must the host.
    WatchedDevice(Factory factory, std::string deviceName, IFlashHost* host, Findings& found, Plan& plan);
    ~WatchedDevice();

    // Makes the plug-in's device: its error text, or null.
    const char* Create();
    bool IsReleased() const { return isReleased; }

    const char* Initialize(bool* ready, const char** operations) override;
    const char* IsAddressInFlash(std::uint64_t address, bool* result) override;
    const char* IsRangeInFlash(std::uint64_t address, std::uint32_t lengthBytes, bool* result) override;
    const char* SetTargetDataType(std::uint64_t dataType) override;
    const char* Write(const unsigned char* data, std::uint64_t address, std::uint32_t lengthBytes) override;
    const char* Execute(const char* operation) override;
    const char* NotifyPhase(std::int64_t phase) override;
    const char* HandlesVerification(std::uint64_t address, bool* result) override;
    const char* Release() override;

private:
    // Lets `work` run when this device may be asked now; a text that says why when not.
    template <typename Work>
    const char* Enter(const char* operation, Work work);
    const char* WhyNot(const char* operation, const void* inside);
    // Does the work; once more on a played chip when the host's target gives no sign of life.
    template <typename Work>
    const char* OnChip(Work work);
    void PlayChip();
    bool MustSwitch() const;
    void SeePlace(const char* operation, const void* place);
    std::uint64_t FlashBytes();

    const Factory factory;
    const std::string name;
    Findings& findings;
    Plan& plan;
    WatchedHost services;
    CallWatch watch;
    IFlashDevice2* device = nullptr;
    std::string operationNames;
    std::string message;                       // what the checker itself answered last
    std::atomic<const void*> caller{nullptr};  // the thread that is inside
    const void* owner = nullptr;               // the thread of the first operation
    bool isReleased = false;
};

}  // namespace flash::hostcheck
