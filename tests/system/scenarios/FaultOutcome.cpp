#include "tests/system/scenarios/FaultOutcome.h"

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

bool EndsWith(const std::string& text, const std::string& end) {
    return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

// Calls right before `index` that asked for the same setting and got it.
std::size_t EarlierReadings(const Fault& fault, const std::vector<HostCall>& calls, std::size_t index) {
    std::size_t readings = 0;
    while (readings < index && index - readings - 1 < fault.index &&
           calls[index - readings - 1].slot == Slot::GetProperty &&
           calls[index - readings - 1].texts == calls[index].texts) {
        ++readings;
    }
    return readings;
}

bool IsReadingOf(const HostCall& call, const char* setting) {
    return call.slot == Slot::GetProperty && call.texts[0] == setting;
}

// Once the last sector has been read for a change of CCFG, the toggle of the write protection must be there.
bool IsChangingCcfg(const std::vector<HostCall>& calls, std::size_t index, std::uint32_t sectorSize) {
    while (index-- != 0 && calls[index].slot != Slot::HaltTarget) {
        const HostCall& call = calls[index];
        if (call.slot == Slot::ReadMemory && call.elementSize == 1 && call.count == sectorSize) {
            return true;
        }
    }
    return false;
}

// An optional setting is asked for once to see whether it is there, then twice for its text.
bool IsTolerated(const Fault& fault, const std::vector<HostCall>& calls, std::size_t index, const Scenario& scenario) {
    const HostCall& call = calls[index];
    if (call.slot == Slot::GetDirectoryPath) {
        return true;  // null counts as an empty text
    }
    if (call.slot != Slot::GetProperty || !kOptionalSettings.contains(call.texts[0])) {
        return false;
    }
    if (call.texts[0] == "WriteProtectionToggle") {
        return !IsChangingCcfg(calls, index, scenario.model->reference.sectorSize) &&
               EarlierReadings(fault, calls, index) % 3 == 0;
    }
    return !scenario.settings.contains(call.texts[0]) || EarlierReadings(fault, calls, index) % 3 == 0;
}

// A chunk whose CRC is not asked for is still verified when an earlier chunk of the same request was: against 0.
bool LeavesVerificationOn(const std::vector<HostCall>& calls, std::size_t index, const Scenario& scenario) {
    const std::uint32_t firstBlock = scenario.model->mailbox.firstBlock;
    if (!scenario.settings.contains("CrcVerify") || !IsReadingOf(calls[index], "CrcVerify") ||
        calls[index - 1].slot != Slot::WriteMemory || calls[index - 1].number - firstBlock < 48) {
        return false;
    }
    while (index-- != 0 && !IsReadingOf(calls[index], "FlashEraseSetting")) {
        if (IsReadingOf(calls[index], "CrcVerify")) {
            return true;
        }
    }
    return false;
}

std::string Hex(std::size_t value, int digits) {
    char text[32];
    std::snprintf(text, sizeof text, "0x%0*zX", digits, value);
    return text;
}

struct ReplacedText {
    std::string error;
    std::string line;  // without the host's text
};

ReplacedText ForBuffer(const std::string& error, const HostCall& call, std::uint32_t buffer) {
    return {error + ".", "  " + error + ". addr=" + Hex(call.number, 8) +
                             ", writeLength=" + std::to_string(call.count) + "(" + Hex(call.count, 1) +
                             "), bufIdx=" + std::to_string(buffer)};
}

ReplacedText ForWriting(const HostCall& call, const Scenario& scenario) {
    const MailboxAddresses& mailbox = scenario.model->mailbox;
    for (std::uint32_t block = 0; block < 2; ++block) {
        if (call.number == mailbox.firstBlock + 24 * block) {
            return {"Failed to write configuration block to target.",
                    "Failed to write configuration block to target. Block " + std::to_string(block) +
                        " (addr=" + Hex(call.number, 8) + ")"};
        }
    }
    const std::uint32_t buffer = call.number == mailbox.buffers[0] ? 0 : 1;
    const bool isRestoring = scenario.KeepsCcfg() && call.count == kCcfgSize;
    return ForBuffer(isRestoring ? "Failed to write data to temporary buffer in RAM when restoring CCFG in FLASH memory"
                                 : "Failed to write data to temporary buffer in RAM before programming device FLASH "
                                   "memory",
                     call, buffer);
}

std::string ForReading(const HostCall& call, const std::string& text) {
    const bool isMacAddress = call.elementSize == 1 && (call.count == 6 || call.count == 8);
    return isMacAddress
               ? "DoReadMacAddress(): Failed to read " + std::to_string(call.count) + " bytes from 0x.\nError: " + text
               : text;
}

std::string ForProperty(const std::string& name) {
    return EndsWith(name, "Loc") ? "Failed to read property '" + name + "'." : "Unknown property \"" + name + "\"";
}

// The detailed line is a host call, too, and may fail.
FaultOutcome WithDetailedLine(const Fault& fault, std::size_t index, const ReplacedText& replaced) {
    if (fault.isLasting) {
        return {fault.TextOfCall(index + 1), std::nullopt, index + 2};
    }
    return {replaced.error, replaced.line + "\nError: " + fault.text + "\n", index + 2};
}

FaultOutcome OutcomeAt(const Fault& fault, std::size_t index, const HostCall& call, const Scenario& scenario) {
    switch (call.slot) {
        case Slot::LoadProgram:
            return WithDetailedLine(
                fault, index,
                {"Failed to write flashloader to device SRAM.", "Failed to write flashloader to device SRAM."});
        case Slot::WriteMemory:
            return WithDetailedLine(fault, index, ForWriting(call, scenario));
        case Slot::ReadMemory:
            return {ForReading(call, fault.TextOfCall(index)), std::nullopt, index + 1};
        case Slot::GetProperty:
            return {ForProperty(call.texts[0]), std::nullopt, index + 1};
        default:
            return {fault.TextOfCall(index), std::nullopt, index + 1};
    }
}

}  // namespace

FaultOutcome ExpectedOutcome(const Fault& fault, const std::vector<HostCall>& calls, const Scenario& scenario) {
    std::size_t index = fault.index;
    while (index < calls.size() && IsTolerated(fault, calls, index, scenario)) {
        if (!fault.isLasting) {
            const bool isMisled = LeavesVerificationOn(calls, index, scenario);
            return isMisled ? FaultOutcome{kTimedOut, std::nullopt, calls.size()} : FaultOutcome{};
        }
        ++index;
    }
    return index == calls.size() ? FaultOutcome{} : OutcomeAt(fault, index, calls[index], scenario);
}

}  // namespace flash::test
