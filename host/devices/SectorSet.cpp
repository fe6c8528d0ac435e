// Lists of sectors: parsing with errors that name the item, and printing.
#include "host/devices/SectorSet.h"

#include <fmt/format.h>

#include <algorithm>
#include <optional>

#include "host/Failure.h"
#include "host/Numbers.h"

namespace flash::host {
namespace {

std::string_view Trimmed(std::string_view text) {
    const std::size_t first = text.find_first_not_of(" \t");
    return first == std::string_view::npos ? std::string_view()
                                           : text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

// Decimal, or hexadecimal behind "0x"; empty when there is none.
std::string_view NumberAtStartOf(std::string_view text) {
    constexpr std::size_t kPrefixLength = 2;
    const bool isHexadecimal = text.starts_with("0x") || text.starts_with("0X");
    const std::size_t start = isHexadecimal ? kPrefixLength : 0;
    const std::size_t end = text.find_first_not_of(isHexadecimal ? "0123456789ABCDEFabcdef" : "0123456789", start);
    const std::string_view number = text.substr(0, end);
    return number.size() > start ? number : std::string_view();
}

struct ItemReader {
    Field field;
    std::string_view item;
    std::uint32_t sectorCount;

    [[noreturn]] void Fail(const std::string& complaint) const {
        throw BadInput(field, fmt::format("{}; expected pages such as 3,5-8", complaint));
    }

    // A number that is too large is told as such, whatever stands behind it.
    std::uint32_t Sector(std::string_view text) const {
        const std::string_view given = Trimmed(text);
        const std::string_view number = NumberAtStartOf(given);
        const std::optional<std::uint32_t> sector = ParseNumber(number);
        if (!number.empty() && (!sector || *sector >= sectorCount)) {
            Fail(fmt::format("page {} does not exist, the chip has pages 0 to {}", given, sectorCount - 1));
        }
        if (number.empty() || number.size() != given.size()) {
            Fail(fmt::format("\"{}\" is not a page or a range of pages", item));
        }
        return *sector;
    }
};

}  // namespace

void SectorSet::Add(const SectorSet& others) {
    for (std::uint32_t sector = 0; sector < others.SectorCount(); ++sector) {
        if (others.Contains(sector)) {
            Add(sector);
        }
    }
}

std::uint32_t SectorSet::Count() const {
    return static_cast<std::uint32_t>(std::count(members.begin(), members.end(), true));
}

std::string SectorSet::Text() const {
    std::string text;
    for (std::uint32_t sector = 0; sector < SectorCount(); ++sector) {
        if (!Contains(sector)) {
            continue;
        }
        const std::uint32_t first = sector;
        while (Contains(sector + 1)) {
            ++sector;
        }
        text += text.empty() ? "" : ",";
        text += first == sector ? fmt::format("{}", first) : fmt::format("{}-{}", first, sector);
    }
    return text;
}

SectorSet ParseSectorList(std::string_view text, std::uint32_t sectorCount, Field field) {
    SectorSet sectors(sectorCount);
    for (std::size_t begin = 0; begin <= text.size();) {
        const std::size_t comma = std::min(text.find(',', begin), text.size());
        const ItemReader reader{field, Trimmed(text.substr(begin, comma - begin)), sectorCount};
        if (reader.item.empty()) {
            reader.Fail(text.empty() ? "the list is empty"
                                     : fmt::format("there is nothing between two commas or at an end of \"{}\"", text));
        }
        const std::size_t dash = reader.item.find('-');
        const std::uint32_t first = reader.Sector(reader.item.substr(0, dash));
        const std::uint32_t last = dash == std::string_view::npos ? first : reader.Sector(reader.item.substr(dash + 1));
        if (first > last) {
            reader.Fail(fmt::format("the range \"{}\" runs backwards", reader.item));
        }
        for (std::uint32_t sector = first; sector <= last; ++sector) {
            sectors.Add(sector);
        }
        begin = comma + 1;
    }
    return sectors;
}

}  // namespace flash::host
