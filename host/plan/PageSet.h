// Sets of flash pages (a page is one sector) and their text form: "3, 5-8", decimal, counted from 0.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace flash::host {

class PageSet {
public:
    PageSet() = default;
    explicit PageSet(std::uint32_t pageCount) : members(pageCount, false) {}

    bool Contains(std::uint32_t page) const { return page < members.size() && members[page]; }
    void Add(std::uint32_t page) { members.at(page) = true; }
    void AddAll() { members.assign(members.size(), true); }
    bool IsEmpty() const { return Count() == 0; }
    std::uint32_t Count() const;
    std::uint32_t PageCount() const { return static_cast<std::uint32_t>(members.size()); }

    // "0-3,7", ascending; "" for the empty set. What the plug-in understands.
    std::string Text() const;

    bool operator==(const PageSet&) const = default;

private:
    std::vector<bool> members;
};

// Stricter than the plug-in, to which a leading or doubled comma names page 0: every item is N or N-M with N at most M
// and both below `pageCount`, and there is at least one. Blanks around numbers are fine. Throws Failure (BadInput);
// `option` names the source of the text.
PageSet ParsePageList(std::string_view text, std::uint32_t pageCount, std::string_view option);

}  // namespace flash::host
