// What pictures and pages are written with.
#include "host/picture/Markup.h"

#include <gtest/gtest.h>

namespace flash::host {
namespace {

TEST(XmlText, EndsNoElementAndHoldsNothingThatXmlForbids) {
    struct Case {
        const char* name;
        std::string text, expected;
    };
    const Case cases[] = {
        {"plain", "app.elf", "app.elf"},
        {"an element", "</text><script>", "&lt;/text&gt;&lt;script&gt;"},
        {"quotes and an entity", "\"a' &lt;", "&quot;a&#39; &amp;lt;"},
        {"control characters", std::string("a\x1b\0\nb", 5), "a\\x1B\\x00\\x0Ab"},
        {"letters of other languages", "größe", "größe"},
        {"no UTF-8", "a\xff", "a\\xFF"},
        {"half of a pair", "\xed\xa0\x80", "\\xED\\xA0\\x80"},
        {"a mark of an error", "\xef\xbf\xbf", "\\xEF\\xBF\\xBF"},
        {"behind the last character", "\xf4\x90\x80\x80", "\\xF4\\x90\\x80\\x80"},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(XmlText(c.text), c.expected) << c.name;
    }
}

TEST(Coordinate, HasAtMostTwoDecimals) {
    EXPECT_EQ(Coordinate(0), "0");
    EXPECT_EQ(Coordinate(12), "12");
    EXPECT_EQ(Coordinate(100), "100");
    EXPECT_EQ(Coordinate(0.5), "0.5");
    EXPECT_EQ(Coordinate(1.0 / 3), "0.33");
    EXPECT_EQ(Coordinate(-0.001), "0");
    EXPECT_EQ(Coordinate(-2.25), "-2.25");
}

TEST(Shortened, CutsBetweenCharacters) {
    EXPECT_EQ(Shortened("", 3), "");
    EXPECT_EQ(Shortened("abc", 3), "abc");
    EXPECT_EQ(Shortened("abcd", 3), "ab…");
    EXPECT_EQ(Shortened("äöüß", 4), "äöüß");
    EXPECT_EQ(Shortened("äöüßa", 4), "äöü…");
}

TEST(Svg, EscapesTextsAndRoundsPlaces) {
    EXPECT_EQ(SvgText(1, 2.5, "small", "<b>"), "<text x=\"1\" y=\"2.5\" class=\"small\">&lt;b&gt;</text>");
    EXPECT_EQ(SvgTitle("a & b"), "<title>a &amp; b</title>");
    EXPECT_EQ(SvgRectangle(0, 1, 2, 3, "fill=\"#fff\""),
              "<rect x=\"0\" y=\"1\" width=\"2\" height=\"3\" fill=\"#fff\"/>");
}

}  // namespace
}  // namespace flash::host
