#include "chip/FaultPlan.h"

#include <algorithm>

namespace flash::chip {
namespace {

bool IsTransferFault(Fault fault) {
    return fault == Fault::PowerLossAtTransfer || fault == Fault::LinkErrorAtTransfer ||
           fault == Fault::CoreStopsAtTransfer;
}

}  // namespace

void FaultPlan::Arm(Fault fault, std::uint64_t at) {
    if (at == 0) {
        throw ChipError("A fault cannot be armed for occurrence 0: the next one is 1.");
    }
    armed.push_back({fault, at});
}

std::vector<Fault> FaultPlan::Next(bool transfer) {
    std::vector<Fault> due;
    if (armed.empty()) {
        return due;
    }
    for (Armed& entry : armed) {
        if (IsTransferFault(entry.fault) == transfer && --entry.remaining == 0) {
            due.push_back(entry.fault);
        }
    }
    std::erase_if(armed, [](const Armed& entry) { return entry.remaining == 0; });
    return due;
}

bool Contains(const std::vector<Fault>& faults, Fault fault) {
    return std::ranges::find(faults, fault) != faults.end();
}

}  // namespace flash::chip
