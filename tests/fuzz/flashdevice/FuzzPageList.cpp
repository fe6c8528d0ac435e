// Page lists: a second reader finds the same pages or the same words of refusal; what is printed reads back.
#include "flashdevice/programming/PageList.h"
#include "tests/fuzz/FuzzTarget.h"
#include "tests/fuzz/flashdevice/SecondReader.h"

namespace flash::fuzz {
namespace {

using Pages = std::vector<bool>;

std::string Without(const std::string& text, const std::string& characters) {
    std::string result;
    for (const char character : text) {
        if (characters.find(character) == std::string::npos) {
            result += character;
        }
    }
    return result;
}

std::string InQuotes(const std::string& item) { return "\"" + item + "\""; }

void TakeItem(const std::string& item, Pages& pages) {
    if (!Without(item, "0123456789-").empty()) {
        throw std::runtime_error("Invalid option was given " + InQuotes(item) + ".\n");
    }
    std::string first = item;
    std::string last = item;
    if (const std::size_t minus = item.find('-'); minus != std::string::npos) {
        first = item.substr(0, minus);
        last = item.substr(minus + 1, item.find('-', minus + 1) - minus - 1);
        if (first.empty() || last.empty() || CLibraryNumber(first, 10) > CLibraryNumber(last, 10)) {
            throw std::runtime_error("Invalid range was given " + InQuotes(item) + ".\n");
        }
    }
    if (CLibraryNumber(last, 10) >= pages.size()) {
        throw std::runtime_error("Given page is out of range: " + InQuotes(item) +
                                 "\nNote that the number of available pages is " + std::to_string(pages.size()) + "\n");
    }
    for (std::uint32_t page = CLibraryNumber(first, 10); page <= CLibraryNumber(last, 10); ++page) {
        pages[page] = false;
    }
}

Pages SecondPages(const std::string& text, std::uint32_t pageCount) {
    Pages pages(pageCount, true);
    for (const std::string& item : SecondSplit(Without(text, " \t\n\v\f\r"), ',')) {
        TakeItem(item, pages);
    }
    return pages;
}

std::string Joined(const std::vector<std::string>& ranges) {
    std::string text;
    for (const std::string& range : ranges) {
        text += range + ",";
    }
    return text;
}

void CheckPrinting(const Pages& pages, std::uint32_t sectorSize) {
    const std::vector<std::string> named = RangesOfSectors(pages, false);
    FuzzRequire(ParsePages(Joined(named), static_cast<std::uint32_t>(pages.size())) == pages,
                "printed ranges read back as the same pages");
    std::uint64_t bytes = 0;
    for (const bool wanted : {false, true}) {
        for (const std::string& text : RangesOfSectors(pages, wanted)) {
            const AddressRange range = ParseSectorRange(text, sectorSize);
            FuzzRequire(range.first % sectorSize == 0 && range.last % sectorSize == sectorSize - 1,
                        "a range begins and ends with a sector");
            bytes += std::uint64_t{range.last} - range.first + 1;
        }
    }
    FuzzRequire(bytes == std::uint64_t{pages.size()} * sectorSize, "named and other ranges are all of flash");
}

}  // namespace
}  // namespace flash::fuzz

// The first byte is the number of pages, the rest the text.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace flash::fuzz;
    const NumberAndText input(data, size);
    const std::uint32_t pageCount = input.number % 129U;
    const auto first =
        SameReading<Pages>([&] { return flash::ParsePages(input.text, pageCount); },
                           [&] { return SecondPages(input.text, pageCount); }, "both readers find the same pages");
    if (first.error.empty()) {
        CheckPrinting(first.result, input.number < 128 ? 0x1000 : 0x2000);
    }
    return 0;
}
