// Which silicon revision a chip is.
#include <gtest/gtest.h>

#include <stdexcept>

#include "tests/support/OpenTarget.h"

namespace flash::test {
namespace {

struct Identification : testing::Test {
    void Connect(std::uint64_t idCode, const std::string& table) {
        host.routerRegisters[1] = idCode;
        host.properties["DeviceInfoRevisionTranslation"] = table;
    }

    FakeHost host;
    OpenDor device{"LumoD1K128", &host};
};

TEST_F(Identification, ReadsTheRouterAndGoesBackToTheCore) {
    Connect(0x1000'0001, "0:1.0:RevA:1:2.0:RevB");

    EXPECT_TRUE(device.IdentifyDevice());

    EXPECT_EQ(TextsOf(host.calls),
              (Texts{"SelectCore Sluice", "ReadRegister 1", "SelectCore Cortex",
                     "GetProperty DeviceInfoRevisionTranslation", "GetProperty DeviceInfoRevisionTranslation"}));
    EXPECT_EQ(host.core, "Cortex");
}

TEST_F(Identification, FindsTheRevisionOfTheTopFourBits) {
    struct Case {
        const char* name;
        std::uint64_t idCode;
        const char* table;
        std::uint32_t major, minor;
        const char* revisionName;
    };
    const Case cases[] = {
        {"first entry", 0x0FFF'FFFF, "0:1.0:RevA:1:2.0:RevB", 1, 0, "RevA"},
        {"second entry", 0x1000'0001, "0:1.0:RevA:1:2.0:RevB", 2, 0, "RevB"},
        {"the highest code", 0xFFFF'FFFF, "0:1.0:RevA:15:3.1:RevP", 3, 1, "RevP"},
        {"the first of two equal codes", 0x1000'0000, "1:1.0:One:2:2.0:Two:1:3.0:Three", 1, 0, "One"},
        {"a text that is no revision leaves the numbers", 0x1000'0000, "1:three:RevC", 0, 0, "RevC"},
        {"an empty name", 0x1000'0000, "1:1.2::2:2.0:B", 1, 2, ""},
    };
    for (const Case& each : cases) {
        OpenDor fresh("LumoD1", &host);
        Connect(each.idCode, each.table);
        EXPECT_TRUE(fresh.IdentifyDevice()) << each.name;
        EXPECT_EQ(fresh.revisionMajor, each.major) << each.name;
        EXPECT_EQ(fresh.revisionMinor, each.minor) << each.name;
        EXPECT_EQ(fresh.revisionName, each.revisionName) << each.name;
        EXPECT_TRUE(host.messages.empty()) << each.name;
    }
}

TEST_F(Identification, AssumesTheLastEntryForAnUnknownCode) {
    Connect(0x2000'0001, "0:1.0:RevA:1:2.0:RevB");

    EXPECT_FALSE(device.IdentifyDevice());

    EXPECT_EQ(device.revisionMajor, 2U);
    EXPECT_EQ(device.revisionMinor, 0U);
    EXPECT_EQ(device.revisionName, "-");
    EXPECT_EQ(host.messages, Texts{"Device revision '0x2' unknown for selected target. Assuming latest known revision: "
                                   "Rev. 2.0."});
}

TEST_F(Identification, ShowsTheCodeInLowerCaseHexadecimal) {
    Connect(0xA000'0000, "0:2.1:RevA");
    device.IdentifyDevice();
    EXPECT_EQ(host.messages, Texts{"Device revision '0xa' unknown for selected target. Assuming latest known revision: "
                                   "Rev. 2.1."});
    EXPECT_EQ(TextOf(host.calls.back()).substr(0, 12), "PrintMessage");
}

TEST_F(Identification, NamesTheRevisionThatWasKnownBefore) {
    Connect(0x1000'0000, "1:2.0:RevB:2:2.5:RevC");
    device.IdentifyDevice();
    Connect(0xF000'0000, "1:2.0:RevB:2:2.5:RevC");

    EXPECT_FALSE(device.IdentifyDevice());

    EXPECT_EQ(device.revisionName, "RevB");
    EXPECT_EQ(host.messages, Texts{"Device revision '0xf' unknown for selected target. Assuming latest known revision: "
                                   "Rev. RevB (2.5)."});
}

TEST_F(Identification, ReadsTheTableAgainAtEachRun) {
    Connect(0x1000'0000, "0:1.0:RevA:1:2.0:RevB");

    device.IdentifyDevice();
    device.IdentifyDevice();

    EXPECT_EQ(device.revisionTranslation.size(), 4U);
    EXPECT_EQ(device.revisionName, "RevB");
}

TEST_F(Identification, AnEmptyTableHasNoLastEntry) {
    Connect(0x1000'0000, "");
    EXPECT_EQ(ThrownText<std::out_of_range>([&] { device.IdentifyDevice(); }), "invalid vector<T> subscript");
}

TEST_F(Identification, RefusesAnEmptyRevisionText) {
    for (const std::uint64_t idCode : {0x1000'0000U, 0x2000'0000U}) {  // found, and assumed
        Connect(idCode, "1::RevA");
        EXPECT_EQ(ThrownText<std::runtime_error>([&] { device.IdentifyDevice(); }),
                  "FlashUtil::ConvertRevisionStringToMajorMinor(): Input string is empty");
        EXPECT_EQ(device.revisionName, "-") << "no name without its numbers";
    }
}

TEST_F(Identification, AWideIdentificationCodeFailsOnTheRouter) {
    for (const std::uint64_t idCode : {std::uint64_t{0x1'0000'0000}, ~std::uint64_t{0}}) {
        Connect(idCode, "0:1.0:RevA");
        EXPECT_EQ(ThrownText<std::runtime_error>([&] { device.IdentifyDevice(); }),
                  "Lumo flash supports only supports 32 bit addresses");
        EXPECT_EQ(host.core, "Sluice");
    }
    Connect(0xFFFF'FFFF, "15:1.0:RevA");
    EXPECT_EQ(device.ReadIdCode(), 0xFFFF'FFFFU);
}

TEST_F(Identification, AFailingRegisterLeavesTheRouteOnTheRouter) {
    Connect(0, "0:1.0:RevA");
    host.FailNth(Slot::ReadRegister, 1, kPlannedError);

    EXPECT_EQ(ThrownText<std::runtime_error>([&] { device.IdentifyDevice(); }), kPlannedError);

    EXPECT_EQ(host.core, "Sluice");
}

TEST_F(Identification, TableErrorsComeAfterTheRouteIsBack) {
    Connect(0, "0:1.0");

    EXPECT_EQ(ThrownText<std::runtime_error>([&] { device.IdentifyDevice(); }),
              "Property DeviceInfoRevisionTranslation in Flash Properties XML does not contain the expected number of "
              "entries (N * 3 entries expected)");

    EXPECT_EQ(host.core, "Cortex");
}

TEST(IdentificationSweep, EndsWithTheHostsTextWhateverFails) {
    SweepHostErrors([](OpenLumoD& target) { target.host.routerRegisters[1] = 0xE000'0000; },
                    [](OpenLumoD& target) { target.device.IdentifyDevice(); });
}

}  // namespace
}  // namespace flash::test
