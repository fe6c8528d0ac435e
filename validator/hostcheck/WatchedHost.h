// The services as the plug-in's code meets them: each call goes on to the host and is watched on its way.
//
// The target is the host's, or a chip that the checker plays. In the second case the host is asked all the same, so
// that its services can be watched, but its answers about the target are dropped and no command reaches its target: its
// flash stays as it is.
#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "flashdevice/interface/IFlashHost.h"
#include "validator/hostcheck/HostCalls.h"
#include "validator/simulation/SimulatedHost.h"

namespace flash::hostcheck {

inline constexpr std::uint64_t kUntouched = 0xDEAD'BEEF'DEAD'BEEF;  // where a value is to come

class WatchedHost final : public IFlashHost {
public:
    // Both must outlive this.
    WatchedHost(IFlashHost* host, Findings& found, const simulation::ChipModel& model);

    // From now on the target is the played chip.
    void PlayChip() { isPlaying = true; }
    bool IsPlaying() const { return isPlaying; }
    // Whether the host's target seems to be none: a service of it failed, the chip has no sectors, or a posted command
    // was waited for in vain.
    bool LooksDead() const { return hasTargetFailed || (waitsForAnswer >= kPatience && !hasAnswered); }
    bool IsHostAlive() const { return calls.IsHostAlive(); }

    void BeginOperation();
    void EndOperation(const char* answer);
    // For the watch over writes: no look at rules.
    std::string Setting(const std::string& name) { return calls.GetProperty(name).value_or(""); }

    const char* GetProperty(const char* name) override;
    const char* SetProperty(const char* name, const char* value) override;
    const char* LoadProgram(const char* fileName, const char* options, const char* directory) override;
    const char* LookUpSymbol(const char* name, std::uint64_t* value) override;
    const char* RunTarget() override;
    const char* HaltTarget() override;
    const char* ReadMemory(void* buffer, std::size_t count, std::uint64_t address, std::uint16_t page,
                           std::size_t elementSize) override;
    const char* WriteMemory(const void* buffer, std::size_t count, std::uint64_t address, std::uint16_t page,
                            std::size_t elementSize) override;
    const char* ReadRegister(std::uint32_t registerNumber, std::uint64_t* value) override;
    const char* WriteRegister(std::uint32_t registerNumber, std::uint64_t value) override;
    const char* ReportError(const char* text) override;
    const char* PrintMessage(const char* text) override;
    const char* GetDirectoryPath() override;
    const char* WaitMilliseconds(std::uint32_t milliseconds) override;
    const char* SelectCore(const char* name) override;

    void Reserved5() override {}
    void Reserved7() override {}
    void Reserved8() override {}
    void Reserved9() override {}
    void Reserved12() override {}
    void Reserved15() override {}
    void Reserved16() override {}
    void Reserved17() override {}
    void Reserved18() override {}
    void Reserved23() override {}
    void Reserved24() override {}
    void Reserved25() override {}
    void Reserved26() override {}

private:
    struct Elements {
        std::uint64_t address;
        std::size_t count;
        std::size_t size;
        std::uint16_t page;
        std::size_t Bytes() const { return count * size; }
    };

    const char* TargetError(const char* error);
    void SeeProperty(const std::string& name, const std::optional<std::string>& value);
    const char* ReadWatched(const Elements& elements, std::vector<std::uint8_t>& bytes);
    void SeeOrder(const Elements& elements, const std::vector<std::uint8_t>& bytes);
    bool SeeFilled(const Elements& elements, std::vector<std::uint8_t>& bytes);
    const char* WriteWatched(const Elements& elements, const std::uint8_t* bytes);
    void SeeUnknownSymbol();
    void SeeSymbol(const std::string& name, std::uint64_t value);
    void NotePost(std::uint64_t address, std::size_t lengthBytes, const std::uint8_t* bytes);
    bool IsCommandInWork();
    std::optional<std::uint64_t> OnHost(std::uint64_t playedAddress) const;

    Findings& findings;
    HostCalls calls;
    simulation::SimulatedHost played;
    bool isPlaying = false;
    bool hasTargetFailed = false;
    static constexpr int kPatience = 100;  // pauses of 5 ms; the plug-in has four times as many

    bool hasPosted = false;                // a command, in this operation
    int waitsForAnswer = 0;                // since then
    bool hasAnswered = false;              // it, at least once
    std::set<std::uint64_t> openStatuses;  // of posted commands, on the host's target
    bool isImageLoaded = false;
    bool isRunning = false;
    bool hasJustWaited = false;
    std::map<std::string, std::uint64_t> symbols;  // of the host
    std::string lastName;                          // asked for by the last call, if that was GetProperty
    std::map<std::string, std::optional<std::string>> seenProperties;  // in this operation
    std::string propertyText;
    std::string directoryText;
};

}  // namespace flash::hostcheck
