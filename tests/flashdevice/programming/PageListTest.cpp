// The texts that name pages, and the ranges that come out of them.
#include "flashdevice/programming/PageList.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "tests/support/CallTexts.h"
#include "tests/support/ThrownText.h"

namespace flash::test {
namespace {

std::string OutOfRange(const std::string& item, const std::string& pages) {
    return "Given page is out of range: \"" + item + "\"\nNote that the number of available pages is " + pages + "\n";
}

std::string InvalidRange(const std::string& item) { return "Invalid range was given \"" + item + "\".\n"; }

std::string InvalidOption(const std::string& item) { return "Invalid option was given \"" + item + "\".\n"; }

TEST(ParsePages, GivesTheRunsOfNamedAndUnnamedPages) {
    struct Case {
        const char* name;
        const char* text;
        Texts named, unnamed;  // of 32 pages
    };
    const Case cases[] = {
        {"a blank", "1, 3-5", {"1", "3-5"}, {"0", "2", "6-31"}},
        {"nothing", "", {}, {"0-31"}},
        {"white space only", " \t\n\v\f\r", {}, {"0-31"}},
        {"everything", "0-31", {"0-31"}, {}},
        {"the edges", "0,31", {"0", "31"}, {"1-30"}},
        {"out of order and twice", "5,3,4,4,3-4", {"3-5"}, {"0-2", "6-31"}},
        {"neighbours join", "3-4,5-6", {"3-6"}, {"0-2", "7-31"}},
        {"a range of one page", "7-7", {"7"}, {"0-6", "8-31"}},
        {"leading zeros", "007", {"7"}, {"0-6", "8-31"}},
        {"white space inside an item", "1 2, 1 - 3", {"1-3", "12"}, {"0", "4-11", "13-31"}},
        {"every kind of white space", "\t1\n,\v2\f,\r4", {"1-2", "4"}, {"0", "3", "5-31"}},
        {"a final comma adds nothing", "4,", {"4"}, {"0-3", "5-31"}},
        {"an empty item is page 0", "4,,5", {"0", "4-5"}, {"1-3", "6-31"}},
        {"a leading comma is page 0", ",5", {"0", "5"}, {"1-4", "6-31"}},
        {"a comma alone is page 0", ",", {"0"}, {"1-31"}},
        {"parts behind the second are passed over", "3-4-9", {"3-4"}, {"0-2", "5-31"}},
        {"a range and a trailing minus", "3-4-", {"3-4"}, {"0-2", "5-31"}},
    };
    for (const Case& each : cases) {
        const std::vector<bool> pages = ParsePages(each.text, 32);
        EXPECT_EQ(pages.size(), 32U);
        EXPECT_EQ(RangesOfSectors(pages, false), each.named) << each.name;
        EXPECT_EQ(RangesOfSectors(pages, true), each.unnamed) << each.name;
    }
}

TEST(ParsePages, RefusesBadItems) {
    struct Case {
        const char* text;
        std::string error;
    };
    const Case cases[] = {
        {"5-3", InvalidRange("5-3")},
        {"-3", InvalidRange("-3")},
        {"3-", InvalidRange("3-")},
        {"-", InvalidRange("-")},
        {"--", InvalidRange("--")},
        {"3--4", InvalidRange("3--4")},
        {"0--4", InvalidRange("0--4")},
        {"1, 3 - 2", InvalidRange("3-2")},
        {"99999999999-5", InvalidRange("99999999999-5")},
        {"40-39", InvalidRange("40-39")},
        {"40", OutOfRange("40", "32")},
        {"32", OutOfRange("32", "32")},
        {"0-32", OutOfRange("0-32", "32")},
        {"40-50", OutOfRange("40-50", "32")},
        {"4294967295", OutOfRange("4294967295", "32")},
        {"4294967296", OutOfRange("4294967296", "32")},
        {"4294967297", OutOfRange("4294967297", "32")},
        {"99999999999999999999", OutOfRange("99999999999999999999", "32")},
        {"1-4294967297", OutOfRange("1-4294967297", "32")},
        {"99999999999-99999999999", OutOfRange("99999999999-99999999999", "32")},
        {"1;2", InvalidOption("1;2")},
        {"0x1", InvalidOption("0x1")},
        {"1,a", InvalidOption("a")},
        {"+1", InvalidOption("+1")},
        {"1.0,2", InvalidOption("1.0")},
        {"a-", InvalidOption("a-")},
    };
    for (const Case& each : cases) {
        EXPECT_EQ(ThrownText<std::runtime_error>([&] { ParsePages(each.text, 32); }), each.error);
    }
}

TEST(ParsePages, ReportsTheFirstBadItem) {
    EXPECT_EQ(ThrownText<std::runtime_error>([] { ParsePages("1,40,x", 32); }), OutOfRange("40", "32"));
    EXPECT_EQ(ThrownText<std::runtime_error>([] { ParsePages("1,x,40", 32); }), InvalidOption("x"));
}

TEST(ParsePages, AChipWithoutPagesHasNoPage0) {
    EXPECT_TRUE(ParsePages("", 0).empty());
    EXPECT_EQ(ThrownText<std::runtime_error>([] { ParsePages("0", 0); }), OutOfRange("0", "0"));
}

TEST(RangesOfSectors, FindsMaximalRuns) {
    EXPECT_EQ(RangesOfSectors({}, true), Texts{});
    EXPECT_EQ(RangesOfSectors({true}, true), Texts{"0"});
    EXPECT_EQ(RangesOfSectors({true}, false), Texts{});
    EXPECT_EQ(RangesOfSectors({true, true, false, true}, true), (Texts{"0-1", "3"}));
    EXPECT_EQ(RangesOfSectors({false, true, true}, true), (Texts{"1-2"}));
}

TEST(ParseSectorRange, GivesTheFirstAndTheLastByte) {
    EXPECT_EQ(ParseSectorRange("2", 4096), (AddressRange{0x2000, 0x2FFF}));
    EXPECT_EQ(ParseSectorRange("", 4096), (AddressRange{0, 0xFFF}));
    EXPECT_EQ(ParseSectorRange("0", 8192), (AddressRange{0, 0x1FFF}));
    EXPECT_EQ(ParseSectorRange("6-31", 4096), (AddressRange{0x6000, 0x1'FFFF}));
    EXPECT_EQ(ParseSectorRange("43-43", 8192), (AddressRange{0x5'6000, 0x5'7FFF}));
    EXPECT_EQ(ParseSectorRange("7", 1), (AddressRange{7, 7}));
}

TEST(ParseSectorRange, RefusesARangeThatRunsBackwards) {
    for (const char* range : {"3-2", "31-0"}) {
        EXPECT_EQ(ThrownText<std::runtime_error>([&] { ParseSectorRange(range, 4096); }),
                  "Input format wrong not valid.")
            << range;
    }
}

}  // namespace
}  // namespace flash::test
