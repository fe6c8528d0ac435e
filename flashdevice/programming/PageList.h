// Page lists: which flash sectors a user's text names, who calls them pages. Items N or N-M between commas, numbers in
// decimal from 0, white space anywhere.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace flash {

// One flag per sector, true for those that the text does not name. Throws with the text that the user is to see.
std::vector<bool> ParsePages(std::string_view text, std::uint32_t sectorCount);

// The runs of sectors whose flag equals `wanted`, ascending, as texts N or N-M.
std::vector<std::string> RangesOfSectors(const std::vector<bool>& sectors, bool wanted);

struct AddressRange {
    std::uint32_t first;  // address of the first byte
    std::uint32_t last;   // address of the last byte
    bool operator==(const AddressRange&) const = default;
};

// The bytes of a range text. Throws "Input format wrong not valid." when it runs backwards.
AddressRange ParseSectorRange(const std::string& range, std::uint32_t sectorSize);

}  // namespace flash
