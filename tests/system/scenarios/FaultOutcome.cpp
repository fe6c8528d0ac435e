#include "tests/system/scenarios/FaultOutcome.h"

#include <algorithm>
#include <cstdio>
#include <set>

namespace flash::test {
namespace {

constexpr char kTimedOut[] = "Timed out waiting for target flashloader to execute command.";

// Settings that are asked for before they are read; without one the option is off.
const std::set<std::string> kOptionalSettings = {
    "FlashVerboseMode",         "CrcVerify",
    "KeepCcfgSetting",          "FlashPagesFilledWith",
    "RetainIeeeSecondaryAddr",  "RetainBleSecondaryAddr",
    "OverrideBleSecondaryAddr", "OverrideIeeeSecondaryAddr",
    "DisableBootloader",        "DisableCpuDap",
    "WriteProtectionToggle",
};

std::string Hex(std::uint64_t value, int digits) {
    char text[32];
    std::snprintf(text, sizeof text, "0x%0*llX", digits, static_cast<unsigned long long>(value));
    return text;
}

// Goes through the calls in their order and knows what each is for from those before it.
class CallReader {
public:
    CallReader(const Fault& theFault, const std::vector<HostCall>& theCalls, const Scenario& theScenario)
        : fault(theFault), calls(theCalls), scenario(theScenario) {}

    FaultOutcome Read() {
        for (std::size_t i = 0; i < calls.size(); ++i) {
            const bool isFailing = i == fault.index || (fault.isLasting && i > fault.index);
            if (isFailing && !IsTolerated(i)) {
                return OutcomeAt(i);
            }
            if (isFailing && !fault.isLasting) {
                return LeavesVerificationOn(i) ? FaultOutcome{kTimedOut, std::nullopt, calls.size()} : FaultOutcome{};
            }
            Pass(i, isFailing);
        }
        return {};
    }

private:
    bool IsPropertyCall(std::size_t i) const { return calls[i].service == Service::GetProperty; }

    // The first of the one or three calls that read an optional setting: whether it is there.
    bool IsTestOfExistence(std::size_t i) const {
        const std::string& name = calls[i].text;
        const bool isMandatoryHere = name == "WriteProtectionToggle" && isChangingCcfg;
        return IsPropertyCall(i) && kOptionalSettings.contains(name) && !isMandatoryHere && i >= endOfReading;
    }

    // A null directory counts as an empty text, a missing option is off.
    bool IsTolerated(std::size_t i) const {
        return calls[i].service == Service::GetDirectoryPath || IsTestOfExistence(i);
    }

    void Pass(std::size_t i, bool isFailing) {
        const HostCall& call = calls[i];
        lastProperty = IsPropertyCall(i) ? call.text : lastProperty;
        if (IsTestOfExistence(i)) {
            const bool isThere =
                !isFailing && (scenario.settings.contains(call.text) || call.text == "WriteProtectionToggle");
            endOfReading = isThere ? i + 3 : i + 1;
            isCrcAskedFor = isCrcAskedFor || call.text == "CrcVerify";
        } else if (call.service == Service::HaltTarget) {
            isChangingCcfg = false;
        } else if (call.service == Service::ReadMemory && call.address == LastSector() && call.value == 1) {
            isChangingCcfg = true;  // in the image that was read
        } else if (IsPropertyCall(i) && call.text == "FlashEraseSetting") {
            isCrcAskedFor = false;  // a new request
        }
    }

    // A chunk whose CRC is not asked for is still verified when an earlier chunk of the same request was: against 0.
    bool LeavesVerificationOn(std::size_t i) const {
        const bool isBeforeThePost = calls[i].text == "CrcVerify" && calls[i - 1].service == Service::WriteMemory &&
                                     std::ranges::count(simulation::kBuffers, calls[i - 1].address) != 0;
        return IsPropertyCall(i) && isBeforeThePost && isCrcAskedFor && scenario.settings.contains("CrcVerify");
    }

    FaultOutcome OutcomeAt(std::size_t i) const {
        const HostCall& call = calls[i];
        switch (call.service) {
            case Service::LoadProgram:
                return WithDetailedLine(i, "Failed to write flashloader to device SRAM.", "");
            case Service::WriteMemory:
                return OutcomeOfWriting(i);
            case Service::ReadMemory:
                return {OfReading(call, fault.TextOfCall(i)), std::nullopt, i + 1};
            case Service::GetProperty:
                return {OfProperty(call.text), std::nullopt, i + 1};
            default:
                return {fault.TextOfCall(i), std::nullopt, i + 1};
        }
    }

    FaultOutcome OutcomeOfWriting(std::size_t i) const {
        const HostCall& call = calls[i];
        for (std::uint32_t number = 0; number < 2; ++number) {
            if (call.address == simulation::BlockAddress(number)) {
                return WithDetailedLine(i, "Failed to write configuration block to target.",
                                        " Block " + std::to_string(number) + " (addr=" + Hex(call.address, 8) + ")");
            }
        }
        // What goes into a buffer behind the question whether CCFG is kept is CCFG.
        const bool isRestoring = lastProperty == "KeepCcfgSetting";
        const std::string work =
            isRestoring ? "when restoring CCFG in FLASH memory." : "before programming device FLASH memory.";
        return WithDetailedLine(i, "Failed to write data to temporary buffer in RAM " + work,
                                " addr=" + Hex(call.address, 8) + ", writeLength=" + std::to_string(call.number) + "(" +
                                    Hex(call.number, 1) +
                                    "), bufIdx=" + (call.address == simulation::kBuffers[0] ? "0" : "1"),
                                "  ");
    }

    // The detailed line is a host call, too, and may fail.
    FaultOutcome WithDetailedLine(std::size_t i, const std::string& error, const std::string& details,
                                  const std::string& indent = "") const {
        if (fault.isLasting) {
            return {fault.TextOfCall(i + 1), std::nullopt, i + 2};
        }
        return {error, indent + error + details + "\nError: " + fault.text + "\n", i + 2};
    }

    // Of the bytes of a radio address, by their place, or of anything else.
    std::string OfReading(const HostCall& call, const std::string& text) const {
        const std::uint64_t addresses[] = {0x5000'1200, 0x5000'1208, FlashEnd() - kIeeeSecondaryFromEnd,
                                           FlashEnd() - kBleSecondaryFromEnd};
        const bool isMacAddress = std::ranges::count(addresses, call.address) != 0;
        return isMacAddress ? "DoReadMacAddress(): Failed to read " + std::to_string(call.number) +
                                  " bytes from 0x.\nError: " + text
                            : text;
    }

    static std::string OfProperty(const std::string& name) {
        return name.ends_with("Loc") ? "Failed to read property '" + name + "'." : "Unknown property \"" + name + "\"";
    }

    std::uint32_t FlashEnd() const { return scenario.model->reference.sectorSize * scenario.sectorCount; }
    std::uint32_t LastSector() const { return FlashEnd() - scenario.model->reference.sectorSize; }

    const Fault& fault;
    const std::vector<HostCall>& calls;
    const Scenario& scenario;
    std::string lastProperty;
    std::size_t endOfReading = 0;  // behind the calls that read the last optional setting
    bool isChangingCcfg = false;   // then the toggle of the write protection must be there
    bool isCrcAskedFor = false;    // for a chunk of this request
};

}  // namespace

FaultOutcome ExpectedOutcome(const Fault& fault, const std::vector<HostCall>& calls, const Scenario& scenario) {
    return CallReader(fault, calls, scenario).Read();
}

}  // namespace flash::test
