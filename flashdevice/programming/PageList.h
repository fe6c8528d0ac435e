// Page lists: which flash pages a user's text names. Items N or N-M between commas, page numbers in decimal from 0,
// white space anywhere. A page is one flash sector.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace flash {

// One flag per page, true for the pages that the text does not name. Throws with the text that the user is to see.
std::vector<bool> ParsePages(std::string_view text, std::uint32_t pageCount);

// The runs of pages whose flag equals `wanted`, ascending, as texts N or N-M.
std::vector<std::string> RangesOfPages(const std::vector<bool>& pages, bool wanted);

struct AddressRange {
    std::uint32_t first;  // address of the first byte
    std::uint32_t last;   // address of the last byte
    bool operator==(const AddressRange&) const = default;
};

// The bytes of a range text. Throws "Input format wrong not valid." when it runs backwards.
AddressRange ParsePageRange(const std::string& range, std::uint32_t sectorSize);

}  // namespace flash
