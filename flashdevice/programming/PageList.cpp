#include "flashdevice/programming/PageList.h"

#include <algorithm>
#include <stdexcept>

#include "flashdevice/device/FlashUtil.h"
#include "flashdevice/device/NumberText.h"

namespace flash {
namespace {

struct PageSpan {
    std::uint32_t first;
    std::uint32_t last;
};

std::string WithoutWhiteSpace(std::string_view text) {
    std::string result(text);
    std::erase_if(result, IsWhiteSpace);
    return result;
}

std::string Quoted(const std::string& item) { return "\"" + item + "\""; }

// Decimal digits only reach here; a number too large for 32 bits becomes 0xFFFFFFFF, which no device has as a page.
std::uint32_t ParsePage(const std::string& digits) { return ParseUnsigned(digits, 10); }

// "N" names one page, "N-M" all from N to M. Parts behind a second minus sign are passed over.
PageSpan ParseSpan(const std::string& item) {
    if (item.find('-') == std::string::npos) {
        const std::uint32_t page = ParsePage(item);
        return {page, page};
    }
    const std::vector<std::string> parts = FlashUtil::SplitString(item, '-');
    if (parts.size() < 2 || parts[0].empty() || parts[1].empty() || ParsePage(parts[0]) > ParsePage(parts[1])) {
        throw std::runtime_error("Invalid range was given " + Quoted(item) + ".\n");
    }
    return {ParsePage(parts[0]), ParsePage(parts[1])};
}

void ClearPages(std::vector<bool>& pages, const std::string& item) {
    if (item.find_first_not_of("0123456789-") != std::string::npos) {
        throw std::runtime_error("Invalid option was given " + Quoted(item) + ".\n");
    }
    const PageSpan span = ParseSpan(item);
    if (span.last >= pages.size()) {
        throw std::runtime_error("Given page is out of range: " + Quoted(item) +
                                 "\nNote that the number of available pages is " + std::to_string(pages.size()) + "\n");
    }
    std::fill(pages.begin() + span.first, pages.begin() + span.last + 1, false);
}

std::string RangeText(std::size_t first, std::size_t last) {
    std::string text = std::to_string(first);
    if (first != last) {
        text += "-" + std::to_string(last);
    }
    return text;
}

}  // namespace

std::vector<bool> ParsePages(std::string_view text, std::uint32_t pageCount) {
    std::vector<bool> pages(pageCount, true);
    for (const std::string& item : FlashUtil::SplitString(WithoutWhiteSpace(text), ',')) {
        ClearPages(pages, item);
    }
    return pages;
}

std::vector<std::string> RangesOfPages(const std::vector<bool>& pages, bool wanted) {
    std::vector<std::string> ranges;
    auto first = std::find(pages.begin(), pages.end(), wanted);
    while (first != pages.end()) {
        const auto end = std::find(first, pages.end(), !wanted);
        ranges.push_back(RangeText(static_cast<std::size_t>(first - pages.begin()),
                                   static_cast<std::size_t>(end - pages.begin()) - 1));
        first = std::find(end, pages.end(), wanted);
    }
    return ranges;
}

AddressRange ParsePageRange(const std::string& range, std::uint32_t sectorSize) {
    const std::vector<std::string> parts = FlashUtil::SplitString(range, '-');
    const std::uint32_t firstPage = parts.empty() ? 0 : ParsePage(parts[0]);
    const std::uint32_t lastPage = parts.size() < 2 ? firstPage : ParsePage(parts[1]);
    const AddressRange bytes{firstPage * sectorSize, (lastPage + 1) * sectorSize - 1};
    if (bytes.first > bytes.last) {
        throw std::runtime_error("Input format wrong not valid.");
    }
    return bytes;
}

}  // namespace flash
