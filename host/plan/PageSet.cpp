// Page lists: parsing with errors that name the item, and printing.
#include "host/plan/PageSet.h"

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
    std::uint32_t pageCount;

    [[noreturn]] void Fail(const std::string& complaint) const {
        throw Failure(FailureKind::BadInput, fmt::format("{}: {}; expected pages such as 3,5-8", option, complaint));
    }

    std::uint32_t Page(std::string_view text) const {
        const std::string_view digits = Trimmed(text);
        std::uint32_t page = 0;
        const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), page);
        if (error == std::errc::result_out_of_range || (error == std::errc() && page >= pageCount)) {
            Fail(fmt::format("page {} does not exist, the chip has pages 0 to {}", digits, pageCount - 1));
        }
        if (error != std::errc() || end != digits.data() + digits.size()) {
            Fail(fmt::format("\"{}\" is not a page or a range of pages", item));
        }
        return page;
    }
};

}  // namespace

std::uint32_t PageSet::Count() const {
    return static_cast<std::uint32_t>(std::count(members.begin(), members.end(), true));
}

std::string PageSet::Text() const {
    std::string text;
    for (std::uint32_t page = 0; page < PageCount(); ++page) {
        if (!Contains(page)) {
            continue;
        }
        const std::uint32_t first = page;
        while (Contains(page + 1)) {
            ++page;
        }
        text += text.empty() ? "" : ",";
        text += first == page ? fmt::format("{}", first) : fmt::format("{}-{}", first, page);
    }
    return text;
}

PageSet ParsePageList(std::string_view text, std::uint32_t pageCount, std::string_view option) {
    PageSet pages(pageCount);
    for (std::size_t begin = 0; begin <= text.size();) {
        const std::size_t comma = std::min(text.find(',', begin), text.size());
        const ItemReader reader{option, Trimmed(text.substr(begin, comma - begin)), pageCount};
        if (reader.item.empty()) {
            reader.Fail(text.empty() ? "the list is empty"
                                     : fmt::format("there is nothing between two commas or at an end of \"{}\"", text));
        }
        const std::size_t dash = reader.item.find('-');
        const std::uint32_t first = reader.Page(reader.item.substr(0, dash));
        const std::uint32_t last = dash == std::string_view::npos ? first : reader.Page(reader.item.substr(dash + 1));
        if (first > last) {
            reader.Fail(fmt::format("the range \"{}\" runs backwards", reader.item));
        }
        for (std::uint32_t page = first; page <= last; ++page) {
            pages.Add(page);
        }
        begin = comma + 1;
    }
    return pages;
}

}  // namespace flash::host
