// Each function looks at the rules that its call can break.
#include "validator/hostcheck/CallWatch.h"

#include <algorithm>

#include "validator/simulation/HostCall.h"

namespace flash::hostcheck {
namespace {

using simulation::HexText;

std::string Told(const WriteRange& range) {
    return std::to_string(range.lengthBytes) + " bytes at " + HexText(range.address);
}

}  // namespace

void CallWatch::OnInitialize() {
    findings.See(Rule::InitializeFirst, true, "");
    if (hasInitializeFailed) {
        findings.See(Rule::RecoverFromInitialize, true, "");
    }
}

void CallWatch::OnInitialized(bool hasSucceeded) {
    isInitialized = hasSucceeded;
    hasInitializeFailed = !hasSucceeded;
}

void CallWatch::OnAnyWork(const char* operation) {
    if (hasInitializeFailed) {
        findings.See(Rule::RecoverFromInitialize, false, operation);
    } else if (!isInitialized) {
        findings.See(Rule::InitializeFirst, false, std::string(operation) + " before it");
    }
}

void CallWatch::OnAddress(std::uint64_t address) {
    findings.See(Rule::AddressFits, address <= 0xFFFF'FFFF, HexText(address));
}

void CallWatch::OnRange(const WriteRange& range, std::uint64_t flashBytes) {
    findings.See(Rule::WriteNotEmpty, range.lengthBytes != 0, "no bytes at " + HexText(range.address));
    if (range.lengthBytes != 0) {
        findings.See(Rule::WriteData, range.data != nullptr, "null for " + Told(range));
    }
    if (flashBytes != 0 && range.address <= 0xFFFF'FFFF) {
        findings.See(Rule::WriteInsideFlash, range.End() <= flashBytes,
                     Told(range) + ", flash has " + std::to_string(flashBytes));
    }
}

void CallWatch::OnSectors(const WriteRange& range, const WriteSettings& settings, std::uint64_t flashBytes) {
    const std::uint64_t first = range.address / sectorBytes;
    const std::uint64_t last = (range.End() - 1) / sectorBytes;
    if (settings.erase == "Necessary Sectors Only") {
        const auto again = sectors.lower_bound(first);
        findings.See(Rule::WriteSectorOnce, again == sectors.end() || *again > last,
                     Told(range) + " in a sector that an earlier write of this load erased");
    }
    if (settings.erase == "Specific Sectors") {
        findings.See(Rule::WriteListedSectorsOnce, !hasErasedListed, Told(range) + " erase the listed sectors again");
        hasErasedListed = true;
    }
    if (settings.isCcfgKept && flashBytes != 0 && range.End() <= flashBytes && range.End() > flashBytes - sectorBytes) {
        findings.See(Rule::WriteKeptCcfgToEnd, range.End() == flashBytes, Told(range));
    }
    const std::uint64_t mostSectors = 0x1000;  // a hostile length does not fill the memory
    for (std::uint64_t sector = first; sector <= last && sector - first < mostSectors; ++sector) {
        sectors.insert(sector);
    }
}

void CallWatch::OnWrite(const WriteRange& range, const WriteSettings& settings, std::uint64_t flashBytes) {
    OnAnyWork("Write");
    OnAddress(range.address);
    OnRange(range, flashBytes);
    if (hasPhaseOneFailed) {
        findings.See(Rule::RecoverFromPhaseOne, false, Told(range));
    } else if (hasWriteFailed) {
        findings.See(Rule::RecoverFromWrite, false, Told(range));
    } else if (!hasInitializeFailed) {
        findings.See(Rule::WriteInLoad, isInLoad, Told(range) + " outside of a load");
    }
    if (hasWritten) {
        findings.See(Rule::WriteAscending, range.address >= lastEnd,
                     Told(range) + " behind a write that ended at " + HexText(lastEnd));
    }
    if (range.lengthBytes != 0) {
        OnSectors(range, settings, flashBytes);
    }
    hasWritten = true;
    lastEnd = std::max(lastEnd, range.End());
}

void CallWatch::OnWritten(bool hasSucceeded) { hasWriteFailed |= !hasSucceeded; }

void CallWatch::OnExecute(const char* name, const std::string& names) {
    OnAnyWork("Execute");
    findings.See(Rule::OperationText, name != nullptr, "null");
    if (name != nullptr && isInitialized) {
        const std::string listed = ", " + names + ", MassErase(), ";
        const bool isKnown = std::string(name).find(',') == std::string::npos && *name != '\0' &&
                             listed.find(", " + std::string(name) + ", ") != std::string::npos;
        findings.See(Rule::OperationName, isKnown, "\"" + std::string(name) + "\"");
    }
    findings.See(Rule::ExecuteOutsideLoad, !isInLoad || hasWriteFailed,
                 "\"" + std::string(name == nullptr ? "" : name) + "\" between NotifyPhase(1) and NotifyPhase(2)");
    isInLoad = hasPhaseOneFailed = hasWriteFailed = false;
}

void CallWatch::OnPhase(std::int64_t phase) {
    OnAnyWork("NotifyPhase");
    findings.See(Rule::PhaseNumber, phase == 1 || phase == 2, std::to_string(phase));
    if (hasWriteFailed) {
        findings.See(Rule::RecoverFromWrite, true, "");
    }
    if (hasPhaseOneFailed) {
        findings.See(Rule::RecoverFromPhaseOne, true, "");
    }
    if (isInLoad && !hasWriteFailed) {
        findings.See(Rule::LoadEnded, phase == 2, "NotifyPhase(" + std::to_string(phase) + ")");
    }
}

void CallWatch::OnPhaseEnded(std::int64_t phase, bool hasSucceeded) {
    isInLoad = phase == 1 && hasSucceeded;
    hasPhaseOneFailed = phase == 1 && !hasSucceeded;
    hasWriteFailed = hasWritten = hasErasedListed = false;
    lastEnd = 0;
    sectors.clear();
}

void CallWatch::OnRelease() {
    if (hasInitializeFailed) {
        findings.See(Rule::RecoverFromInitialize, true, "");
    }
    if (hasWriteFailed) {
        findings.See(Rule::RecoverFromWrite, true, "");
    }
    if (hasPhaseOneFailed) {
        findings.See(Rule::RecoverFromPhaseOne, true, "");
    }
    if (isInLoad && !hasWriteFailed) {
        findings.See(Rule::LoadEnded, false, "Release");
    }
}

}  // namespace flash::hostcheck
