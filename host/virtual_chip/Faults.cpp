// The one list of their names.
#include "host/virtual_chip/Faults.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <vector>

#include "host/Failure.h"
#include "host/Nearest.h"
#include "host/Numbers.h"

namespace flash::host {
namespace {

using chip::Fault;

struct PlacedFault {
    const char* kind;
    Fault fault;
};

constexpr PlacedFault kFaults[] = {
    {"power-loss-before-operation", Fault::PowerLossBeforeOperation},
    {"power-loss-inside-operation", Fault::PowerLossInsideOperation},
    {"power-loss-after-operation", Fault::PowerLossAfterOperation},
    {"power-loss-at-transfer", Fault::PowerLossAtTransfer},
    {"link-error-at-transfer", Fault::LinkErrorAtTransfer},
    {"core-stops-at-operation", Fault::CoreStopsAtOperation},
    {"core-stops-at-transfer", Fault::CoreStopsAtTransfer},
    {"operation-fails", Fault::OperationFails},
    {"operation-does-nothing", Fault::OperationDoesNothing},
    {"early-ready", Fault::EarlyReady},
    {"late-ready", Fault::LateReady},
    {"stuck-busy", Fault::StuckBusy},
};

struct BitFault {
    const char* kind;
    void (chip::VirtualChip::*arm)(std::uint32_t address, unsigned bit);
};

constexpr BitFault kBitFaults[] = {
    {"bit-that-will-not-program", &chip::VirtualChip::ArmBitThatWillNotProgram},
    {"bit-that-flips", &chip::VirtualChip::ArmBitThatFlips},
};

[[noreturn]] void Refuse(const std::string& text) { throw BadInput(Field::Fault, text); }

[[noreturn]] void RefuseKind(const std::string& kind) {
    std::vector<std::string> known;
    std::ranges::transform(kFaults, std::back_inserter(known), &PlacedFault::kind);
    std::ranges::transform(kBitFaults, std::back_inserter(known), &BitFault::kind);
    Refuse(
        fmt::format("there is no fault \"{}\"{}; known are {}", kind, DidYouMean(kind, known), fmt::join(known, ", ")));
}

void ArmBit(chip::VirtualChip& chip, const BitFault& fault, const std::string& place) {
    const std::size_t colon = std::min(place.find(':'), place.size());
    const auto address = ParseNumber(place.substr(0, colon));
    const auto bit = ParseNumber(colon == place.size() ? "" : place.substr(colon + 1));
    if (!address || *address >= chip.FlashBytes() || !bit || *bit > 7) {
        Refuse(
            fmt::format("\"{}\" is no bit of flash; expected {}@ADDRESS:BIT with an address below 0x{:X} and a bit "
                        "from 0 to 7",
                        place, fault.kind, chip.FlashBytes()));
    }
    (chip.*fault.arm)(*address, *bit);
}

}  // namespace

void ArmFault(chip::VirtualChip& chip, const std::string& text) {
    const std::size_t at = std::min(text.find('@'), text.size());
    const std::string kind = text.substr(0, at), place = at == text.size() ? "1" : text.substr(at + 1);
    if (const auto* bit = std::ranges::find(kBitFaults, kind, &BitFault::kind); bit != std::end(kBitFaults)) {
        return ArmBit(chip, *bit, place);
    }
    const auto* fault = std::ranges::find(kFaults, kind, &PlacedFault::kind);
    if (fault == std::end(kFaults)) {
        RefuseKind(kind);
    }
    const std::optional<std::uint32_t> count = ParseNumber(place);
    if (!count || *count == 0) {
        Refuse(fmt::format("\"{}\" is no number from 1 on; expected {}@N", place, kind));
    }
    chip.Arm(fault->fault, *count);
}

}  // namespace flash::host
