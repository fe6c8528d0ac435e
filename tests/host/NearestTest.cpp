// Slips and what is none.
#include "host/Nearest.h"

#include <gtest/gtest.h>

#include <vector>

namespace flash::host {
namespace {

const std::vector<std::string> kKnown{"program", "verify", "read", "erase", "--keep-ccfg", "--skip-pages"};

TEST(Nearest, FindsWhatIsFewSlipsAway) {
    struct Case {
        const char* word;
        std::optional<std::string> nearest;
    };
    const Case cases[] = {{"pogram", "program"}, {"porgram", "program"},        {"programm", "program"},
                          {"VERIFY", "verify"},  {"--keepccfg", "--keep-ccfg"}, {"--skip-page", "--skip-pages"},
                          {"red", "read"},       {"paint", std::nullopt},       {"", std::nullopt},
                          {"x", std::nullopt}};
    for (const Case& c : cases) {
        EXPECT_EQ(Nearest(c.word, kKnown), c.nearest) << c.word;
    }
    EXPECT_EQ(Nearest("read", {}), std::nullopt);
    EXPECT_EQ(Nearest(std::string(100'000, 'r'), kKnown), std::nullopt);
}

TEST(DidYouMean, SaysNothingWhenNothingIsNear) {
    EXPECT_EQ(DidYouMean("raed", kKnown), " (did you mean read?)");
    EXPECT_EQ(DidYouMean("paint", kKnown), "");
}

}  // namespace
}  // namespace flash::host
