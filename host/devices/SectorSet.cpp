// Lists of sectors: parsing with errors that name the item, and printing.
#include "host/devices/SectorSet.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>

#include "host/Failure.h"

namespace flash::host {
namespace {

std::string_view Trimmed(std::string_view text) {
    const std::size_t first = text.find_first_not_of(" \t");
    return first == std::string_view::npos ? std::string_view()
                                           : text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

struct ItemReader {
    std::string_view option;
    std::string_view item;
    std::uint32_t sectorCount;

    [[noreturn]] void Fail(const std::string& complaint) const {
        throw Failure(FailureKind::BadInput, fmt::format("{}: {}; expected pages such as 3,5-8", option, complaint));
    }

    std::uint32_t Sector(std::string_view text) const {
        const std::string_view digits = Trimmed(text);
        std::uint32_t sector = 0;
        const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), sector);
        if (error == std::errc::result_out_of_range || (error == std::errc() && sector >= sectorCount)) {
            Fail(fmt::format("page {} does not exist, the chip has pages 0 to {}", digits, sectorCount - 1));
        }
        if (error != std::errc() || end != digits.data() + digits.size()) {
            Fail(fmt::format("\"{}\" is not a page or a range of pages", item));
        }
        return sector;
    }
};

}  // namespace

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

SectorSet ParseSectorList(std::string_view text, std::uint32_t sectorCount, std::string_view option) {
    SectorSet sectors(sectorCount);
    for (std::size_t begin = 0; begin <= text.size();) {
        const std::size_t comma = std::min(text.find(',', begin), text.size());
        const ItemReader reader{option, Trimmed(text.substr(begin, comma - begin)), sectorCount};
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
