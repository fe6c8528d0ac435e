#include "flashdevice/programming/PageList.h"

#include <algorithm>
#include <stdexcept>

#include "flashdevice/device/FlashUtil.h"
#include "flashdevice/device/NumberText.h"

namespace flash {
namespace {

struct SectorSpan {
    std::uint32_t first;
    std::uint32_t last;
};

std::string WithoutWhiteSpace(std::string_view text) {
    std::string result(text);
    std::erase_if(result, IsWhiteSpace);
    return result;
}

std::string Quoted(const std::string& item) { return "\"" + item + "\""; }

// Decimal digits only reach here; a number too large for 32 bits becomes 0xFFFFFFFF, which no device has as a sector.
std::uint32_t ParseSectorNumber(const std::string& digits) { return ParseUnsigned(digits, 10); }

// "N" names one sector, "N-M" all from N to M. Parts behind a second minus sign are passed over.
SectorSpan ParseSpan(const std::string& item) {
    if (item.find('-') == std::string::npos) {
        const std::uint32_t sector = ParseSectorNumber(item);
        return {sector, sector};
    }
    const std::vector<std::string> parts = FlashUtil::SplitString(item, '-');
    if (parts.size() < 2 || parts[0].empty() || parts[1].empty() ||
        ParseSectorNumber(parts[0]) > ParseSectorNumber(parts[1])) {
        throw std::runtime_error("Invalid range was given " + Quoted(item) + ".\n");
    }
    return {ParseSectorNumber(parts[0]), ParseSectorNumber(parts[1])};
}

void ClearSectors(std::vector<bool>& sectors, const std::string& item) {
    if (item.find_first_not_of("0123456789-") != std::string::npos) {
        throw std::runtime_error("Invalid option was given " + Quoted(item) + ".\n");
    }
    const SectorSpan span = ParseSpan(item);
    if (span.last >= sectors.size()) {
        throw std::runtime_error("Given page is out of range: " + Quoted(item) +
                                 "\nNote that the number of available pages is " + std::to_string(sectors.size()) +
                                 "\n");
    }
    std::fill(sectors.begin() + span.first, sectors.begin() + span.last + 1, false);
}

std::string RangeText(std::size_t first, std::size_t last) {
    std::string text = std::to_string(first);
    if (first != last) {
        text += "-" + std::to_string(last);
    }
    return text;
}

}  // namespace

std::vector<bool> ParsePages(std::string_view text, std::uint32_t sectorCount) {
    std::vector<bool> sectors(sectorCount, true);
    for (const std::string& item : FlashUtil::SplitString(WithoutWhiteSpace(text), ',')) {
        ClearSectors(sectors, item);
    }
    return sectors;
}

std::vector<std::string> RangesOfSectors(const std::vector<bool>& sectors, bool wanted) {
    std::vector<std::string> ranges;
    auto first = std::find(sectors.begin(), sectors.end(), wanted);
    while (first != sectors.end()) {
        const auto end = std::find(first, sectors.end(), !wanted);
        ranges.push_back(RangeText(static_cast<std::size_t>(first - sectors.begin()),
                                   static_cast<std::size_t>(end - sectors.begin()) - 1));
        first = std::find(end, sectors.end(), wanted);
    }
    return ranges;
}

AddressRange ParseSectorRange(const std::string& range, std::uint32_t sectorSize) {
    const std::vector<std::string> parts = FlashUtil::SplitString(range, '-');
    const std::uint32_t firstSector = parts.empty() ? 0 : ParseSectorNumber(parts[0]);
    const std::uint32_t lastSector = parts.size() < 2 ? firstSector : ParseSectorNumber(parts[1]);
    const AddressRange bytes{firstSector * sectorSize, (lastSector + 1) * sectorSize - 1};
    if (bytes.first > bytes.last) {
        throw std::runtime_error("Input format wrong not valid.");
    }
    return bytes;
}

}  // namespace flash
