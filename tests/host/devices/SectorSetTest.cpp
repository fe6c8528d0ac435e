// Sets of sectors, and lists of pages as users write them.
#include "host/devices/SectorSet.h"

#include <gtest/gtest.h>

#include "tests/host/support/Throws.h"

namespace flash::host {
namespace {

TEST(ParseSectorList, GoodListsAndTheirNormalForm) {
    struct Case {
        const char* text;
        const char* expected;
    };
    const Case cases[] = {{"0", "0"},       {"31", "31"},         {" 1 , 3 - 5 ", "1,3-5"}, {"5,4,3", "3-5"},
                          {"0-31", "0-31"}, {"1,1,1-1", "1"},     {"2-3,3-4", "2-4"},       {"007", "7"},
                          {"0x1F", "31"},   {"0x3-0X0a", "3-10"}, {"0x3-4,10", "3-4,10"}};
    for (const Case& c : cases) {
        EXPECT_EQ(ParseSectorList(c.text, 32, Field::Protect).Text(), c.expected) << c.text;
    }
}

TEST(ParseSectorList, BadListsAreToldWithFieldAndItem) {
    struct Case {
        const char* text;
        const char* expected;
    };
    const Case cases[] = {
        {"", "the list is empty"},
        {"1,", "there is nothing between two commas or at an end of \"1,\""},
        {",1", "there is nothing between two commas or at an end of \",1\""},
        {"1,,2", "there is nothing between two commas or at an end of \"1,,2\""},
        {"32", "page 32 does not exist, the chip has pages 0 to 31"},
        {"32x", "page 32x does not exist, the chip has pages 0 to 31"},
        {"3-32", "page 32 does not exist, the chip has pages 0 to 31"},
        {"99999999999", "page 99999999999 does not exist, the chip has pages 0 to 31"},
        {"5-3", "the range \"5-3\" runs backwards"},
        {"-3", "\"-3\" is not a page or a range of pages"},
        {"3-", "\"3-\" is not a page or a range of pages"},
        {"3x", "\"3x\" is not a page or a range of pages"},
        {"1-2-3", "\"1-2-3\" is not a page or a range of pages"},
        {"0x20", "page 0x20 does not exist, the chip has pages 0 to 31"},
        {"0x", "\"0x\" is not a page or a range of pages"},
        {"0xg", "\"0xg\" is not a page or a range of pages"},
        {"0x1g", "\"0x1g\" is not a page or a range of pages"},
        {"1;2", "\"1;2\" is not a page or a range of pages"},
        {"1 2", "\"1 2\" is not a page or a range of pages"},
        {"+1", "\"+1\" is not a page or a range of pages"},
    };
    for (const Case& c : cases) {
        const std::string text = FailureOf(FailureKind::BadInput, [&] { ParseSectorList(c.text, 32, Field::Protect); });
        EXPECT_EQ(text, "\"protected pages\": " + std::string(c.expected) + "; expected pages such as 3,5-8");
    }
}

TEST(SectorSet, CountsAndKnowsItsMembers) {
    SectorSet sectors(8);
    EXPECT_TRUE(sectors.IsEmpty());
    EXPECT_EQ(sectors.Text(), "");

    sectors.Add(7);

    EXPECT_EQ(sectors.Count(), 1u);
    EXPECT_TRUE(sectors.Contains(7));
    EXPECT_FALSE(sectors.Contains(8));
    EXPECT_EQ(sectors.Text(), "7");
}

TEST(SectorSet, TakesInTheMembersOfAnother) {
    SectorSet sectors(8);
    sectors.Add(1);
    SectorSet others(8);
    others.Add(1);
    others.Add(6);

    sectors.Add(others);

    EXPECT_EQ(sectors.Text(), "1,6");
}

}  // namespace
}  // namespace flash::host
