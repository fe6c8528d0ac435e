// The faults that are armed, and which of them come true at the next flash operation or transfer.
#pragma once

#include <cstdint>
#include <vector>

#include "chip/VirtualChip.h"

namespace flash::chip {

class FaultPlan {
public:
    void Arm(Fault fault, std::uint64_t at);
    void DisarmAll() { armed.clear(); }

    // Counts one flash operation, or one transfer, and gives the faults that are due at it, in order of arming.
    std::vector<Fault> NextOperation() { return Next(false); }
    std::vector<Fault> NextTransfer() { return Next(true); }

private:
    struct Armed {
        Fault fault;
        std::uint64_t remaining;
    };
    std::vector<Fault> Next(bool transfer);

    std::vector<Armed> armed;
};

bool Contains(const std::vector<Fault>& faults, Fault fault);

}  // namespace flash::chip
