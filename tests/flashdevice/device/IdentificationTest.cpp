// Which silicon revision a chip is.
#include <gtest/gtest.h>

#include "tests/support/ConnectedChip.h"

namespace flash::test {
namespace {

class Identification : public testing::Test {
protected:
    std::string Identify(std::uint64_t idCode, const std::string& table) {
        host.ForgetCalls();
        host.idCode = idCode;
        chip.Property("DeviceInfoRevisionTranslation") = table;
        return chip.Initialize();
    }

    ConnectedChip chip{kLumoD};
    SimulatedHost& host = chip.host;
};

TEST_F(Identification, FindsTheRevisionOfTheTopFourBits) {
    struct Case {
        const char* name;
        std::uint64_t idCode;
        const char* table;
        const char* revision;
    };
    const Case cases[] = {
        {"first entry", 0x0FFF'FFFF, "0:1.0:RevA:1:2.0:RevB", "RevA (1.0)"},
        {"second entry", 0x1000'0001, "0:1.0:RevA:1:2.0:RevB", "RevB (2.0)"},
        {"the highest code", 0xFFFF'FFFF, "0:1.0:RevA:15:3.1:RevP", "RevP (3.1)"},
        {"the first of two equal codes", 0x1000'0000, "1:1.0:One:2:2.0:Two:1:3.0:Three", "One (1.0)"},
        {"a text that is no revision leaves the numbers", 0x1000'0000, "1:three:RevC", "RevC (0.0)"},
        {"an empty name", 0x1000'0000, "1:1.2::2:2.0:B", " (1.2)"},
    };
    for (const Case& each : cases) {
        ConnectedChip fresh(kLumoD);
        fresh.host.idCode = each.idCode;
        fresh.Property("DeviceInfoRevisionTranslation") = each.table;
        EXPECT_EQ(fresh.Initialize(), "") << each.name;
        EXPECT_EQ(fresh.Property("DeviceInfoRevision"), each.revision) << each.name;
        EXPECT_TRUE(fresh.host.messages.empty()) << each.name;
    }
}

TEST_F(Identification, AssumesTheLastEntryForAnUnknownCode) {
    for (const auto& [idCode, digit] : {std::pair(0x2000'0001U, "2"), {0xA000'0000U, "a"}}) {
        EXPECT_EQ(Identify(idCode, "0:1.0:RevA:1:2.1:RevB"), "");
        EXPECT_EQ(chip.Property("DeviceInfoRevision"), "- (2.1)");
        EXPECT_EQ(host.messages, Texts{std::string("Device revision '0x") + digit +
                                       "' unknown for selected target. Assuming latest known revision: Rev. 2.1."});
    }
}

TEST_F(Identification, NamesTheRevisionThatWasKnownBefore) {
    ASSERT_EQ(Identify(0x1000'0000, "1:2.0:RevB:2:2.5:RevC"), "");

    EXPECT_EQ(Identify(0xF000'0000, "1:2.0:RevB:2:2.5:RevC"), "");

    EXPECT_EQ(chip.Property("DeviceInfoRevision"), "RevB (2.5)");
    EXPECT_EQ(host.messages, Texts{"Device revision '0xf' unknown for selected target. Assuming latest known revision: "
                                   "Rev. RevB (2.5)."});
}

TEST_F(Identification, AddsTheTableOfEachRunToThoseBefore) {
    ASSERT_EQ(Identify(0x1000'0000, "0:1.0:RevA:1:2.0:RevB"), "");

    ASSERT_EQ(Identify(0x1000'0000, "1:3.0:RevC"), "");
    EXPECT_EQ(chip.Property("DeviceInfoRevision"), "RevB (2.0)") << "the first entry of a code counts";

    ASSERT_EQ(Identify(0x1000'0000, ""), "") << "an empty table adds nothing";
}

TEST_F(Identification, AnEmptyTableHasNoLastEntry) {
    EXPECT_EQ(Identify(0x1000'0000, ""), "invalid vector<T> subscript");
}

TEST_F(Identification, RefusesAnEmptyRevisionText) {
    for (const std::uint64_t idCode : {0x1000'0000U, 0x2000'0000U}) {  // found, and assumed
        EXPECT_EQ(Identify(idCode, "1::RevA"), "FlashUtil::ConvertRevisionStringToMajorMinor(): Input string is empty");
    }
    ASSERT_EQ(Identify(0x3000'0000, "2:2.0:RevB"), "");
    EXPECT_EQ(chip.Property("DeviceInfoRevision"), "- (2.0)") << "no name without its numbers";
}

TEST_F(Identification, AWideIdentificationCodeFailsOnTheRouter) {
    for (const std::uint64_t idCode : {std::uint64_t{0x1'0000'0000}, ~std::uint64_t{0}}) {
        EXPECT_EQ(Identify(idCode, "0:1.0:RevA"), "Lumo flash supports only supports 32 bit addresses");
        EXPECT_EQ(host.route, "Sluice");
    }
    EXPECT_EQ(Identify(0xFFFF'FFFF, "15:1.0:RevA"), "");
}

TEST_F(Identification, AFailingRegisterLeavesTheRouteOnTheRouter) {
    host.failures.FailNth(Service::ReadRegister, 1, "lost");

    EXPECT_EQ(Identify(0, "0:1.0:RevA"), "lost");

    EXPECT_EQ(host.route, "Sluice");
}

TEST_F(Identification, TableErrorsComeAfterTheRouteIsBack) {
    EXPECT_EQ(Identify(0, "0:1.0"),
              "Property DeviceInfoRevisionTranslation in Flash Properties XML does not contain the expected number of "
              "entries (N * 3 entries expected)");

    EXPECT_EQ(host.route, "Cortex");
}

}  // namespace
}  // namespace flash::test
