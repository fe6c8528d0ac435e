#include "host/gdb/RegisterLayout.h"

#include <gtest/gtest.h>

namespace flash::host::gdb {
namespace {

using Files = std::map<std::string, std::string>;

std::optional<RegisterLayout> Read(const Files& files) {
    return ReadRegisterLayout([&](const std::string& annex) -> std::optional<std::string> {
        const auto found = files.find(annex);
        return found == files.end() ? std::nullopt : std::optional(found->second);
    });
}

TEST(ReadRegisterLayout, NumbersRegistersOnFromTheLastNumberGiven) {
    const auto layout = Read({{"target.xml",
                               "<target><feature name=\"a\"><reg name=\"r0\" bitsize=\"32\"/>"
                               "<reg name=\"pc\" bitsize=\"32\" regnum=\"15\"/><reg name=\"xpsr\" bitsize=\"32\"/>"
                               "</feature></target>"}});

    ASSERT_TRUE(layout);
    EXPECT_EQ(layout->Find("r0"), (RegisterPlace{0, 4}));
    EXPECT_EQ(layout->Find("pc"), (RegisterPlace{15, 4}));
    EXPECT_EQ(layout->Find("xpsr"), (RegisterPlace{16, 4}));
    EXPECT_EQ(layout->Find("msp"), std::nullopt);
    EXPECT_EQ(layout->OffsetOf({15, 4}), 4u);
}

TEST(ReadRegisterLayout, FollowsIncludedFiles) {
    const auto layout = Read({{"target.xml", "<target><xi:include href=\"core.xml\"/></target>"},
                              {"core.xml", "<feature><reg name=\"pc\" bitsize=\"32\"/></feature>"}});

    ASSERT_TRUE(layout);
    EXPECT_EQ(layout->Find("pc"), (RegisterPlace{0, 4}));
}

TEST(ReadRegisterLayout, IsNullForWhatDescribesNoCore) {
    EXPECT_FALSE(Read({}));
    EXPECT_FALSE(Read({{"target.xml", "<target"}}));
    EXPECT_FALSE(Read({{"target.xml", "<target/>"}}));
    EXPECT_FALSE(Read({{"target.xml", "<target><xi:include href=\"target.xml\"/></target>"}}));
    EXPECT_FALSE(Read({{"target.xml", "<target><reg name=\"pc\" bitsize=\"0\"/></target>"}}));
    EXPECT_FALSE(Read({{"target.xml", "<target><reg name=\"pc\" bitsize=\"32\" regnum=\"9999\"/></target>"}}));
}

TEST(RegisterLayout, IsTheOneOfOldWithoutADescription) {
    const RegisterLayout layout = RegisterLayout::Default();

    EXPECT_EQ(layout.OffsetOf(*layout.Find("pc")), 60u);
    EXPECT_EQ(layout.OffsetOf(*layout.Find("xpsr")), 164u);
}

}  // namespace
}  // namespace flash::host::gdb
