// Sets of sectors and their text form, which users and properties know as a list of pages: "3, 5-8", decimal, from 0.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "host/Field.h"

namespace flash::host {

class SectorSet {
public:
    SectorSet() = default;
    explicit SectorSet(std::uint32_t sectorCount) : members(sectorCount, false) {}

    bool Contains(std::uint32_t sector) const { return sector < members.size() && members[sector]; }
    void Add(std::uint32_t sector) { members.at(sector) = true; }
    void Add(const SectorSet& others);  // of the same flash
    void AddAll() { members.assign(members.size(), true); }
    bool IsEmpty() const { return Count() == 0; }
    std::uint32_t Count() const;
    std::uint32_t SectorCount() const { return static_cast<std::uint32_t>(members.size()); }

    // "0-3,7", ascending; "" for the empty set. What the plug-in understands.
    std::string Text() const;

    bool operator==(const SectorSet&) const = default;

private:
    std::vector<bool> members;
};

// Stricter than the plug-in, to which a leading or doubled comma names sector 0: every item is N or N-M with N at most
// M and both below `sectorCount`, and there is at least one. Blanks around numbers are fine. Throws BadInput of that
// field.
SectorSet ParseSectorList(std::string_view text, std::uint32_t sectorCount, Field field);

}  // namespace flash::host
