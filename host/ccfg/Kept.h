// What a piece of work on a chip must leave as it is, remembered so that it can be put back should the work fail
// half-way.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "host/ccfg/Ccfg.h"
#include "host/ccfg/ClosingChanges.h"
#include "host/ccfg/RadioAddress.h"

namespace flash::host {

// Later members lie over earlier ones.
struct Kept {
    std::vector<std::uint8_t> lastSector;   // empty while the work is to change it
    std::vector<std::uint8_t> ccfg;         // up to the end of flash; empty when it need not stay
    std::optional<RadioAddress> ble, ieee;  // secondary addresses; missing when they need not stay

    bool IsAnything() const { return !lastSector.empty() || !ccfg.empty() || ble || ieee; }
};

// What a load leaves as it is: CCFG and the addresses that are to be retained. A CCFG that is not valid is none.
Kept KeptByLoad(const LastSector& before, const CcfgLayout& layout, bool keepCcfg, const ClosingChanges& closing);

// All of the last sector, before a change of CCFG erases it and programs it again. What is kept already stays that.
void KeepLastSector(Kept& kept, const LastSector& before, const CcfgLayout& layout);

// The last sector as it should be, where `present` is what it holds.
std::vector<std::uint8_t> LastSectorWith(const Kept& kept, std::vector<std::uint8_t> present, const CcfgLayout& layout);

// What is lost if there is no way back, with its bytes: they may be the only copy.
std::string LossOf(const Kept& kept, const CcfgLayout& layout);

// What is not as the changes were to make it, null when all is. `kept` has the last sector as it was before them.
const char* FindUndone(const ClosingChanges& changes, const Kept& kept, const LastSector& after,
                       const CcfgLayout& layout);

}  // namespace flash::host
