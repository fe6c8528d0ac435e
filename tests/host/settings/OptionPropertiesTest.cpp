// What options and properties stand for each other, both ways.
#include "host/settings/OptionProperties.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "tests/host/support/SectorSets.h"

namespace flash::host {
namespace {

using Properties = std::map<std::string, std::string>;
using Given = std::vector<GivenField>;

Properties Map(const std::vector<ScopedSettings::Change>& changes) {
    const Properties map(changes.begin(), changes.end());
    EXPECT_EQ(map.size(), changes.size()) << "a property was set twice";
    return map;
}

const Properties kPlainLoad{
    {"KeepCcfgSetting", "0"},
    {"FlashPageToggle", "0"},
    {"FlashPages", ""},
    {"FlashPagesFilledWith", "0"},
    {"FlashPagesFilledWithValue", "0xFF"},
    {"RetainBleSecondaryAddr", "0"},
    {"RetainIeeeSecondaryAddr", "0"},
    {"OverrideBleSecondaryAddr", "0"},
    {"OverrideIeeeSecondaryAddr", "0"},
    {"WriteProtectionToggle", "0"},
    {"WriteProtectionText", ""},
    {"DisableBootloader", "0"},
    {"DisableCpuDap", "0"},
    {"FlashEraseSetting", "Necessary Sectors Only"},
    {"ProgramLoadEraseSpecificText", ""},
    {"CrcVerify", "1"},
};

struct Option {
    const char* name;
    void (*set)(ProgramOptions& options);
    Properties properties;  // that differ from those of a plain load
    Given given;            // what the properties amount to
};

const std::vector<Option>& Options() {
    static const std::vector<Option> kOptions{
        {"kept CCFG",
         [](ProgramOptions& o) { o.keepCcfg = true; },
         {{"KeepCcfgSetting", "1"}},
         {{Field::KeptCcfg, {}}}},
        {"skipped sectors",
         [](ProgramOptions& o) {
             o.skippedSectors = SectorsOf({1, 3, 4});
         },
         {{"FlashPageToggle", "1"}, {"FlashPages", "1,3-4"}},
         {{Field::SkippedSectors, "1,3-4"}}},
        {"skipped fill",
         [](ProgramOptions& o) { o.skippedFill = std::uint8_t{0x0A}; },
         {{"FlashPagesFilledWith", "1"}, {"FlashPagesFilledWithValue", "0x0A"}},
         {{Field::SkippedFill, "0x0A"}}},
        {"retained BLE address",
         [](ProgramOptions& o) { o.closing.retainBle = true; },
         {{"RetainBleSecondaryAddr", "1"}},
         {{Field::RetainedBle, {}}}},
        {"retained IEEE address",
         [](ProgramOptions& o) { o.closing.retainIeee = true; },
         {{"RetainIeeeSecondaryAddr", "1"}},
         {{Field::RetainedIeee, {}}}},
        {"BLE address",
         [](ProgramOptions& o) {
             o.closing.ble = RadioAddress({1, 0, 0, 0, 0, 0xC2});
         },
         {{"OverrideBleSecondaryAddr", "1"}, {"DeviceBleSecondary", "C2:00:00:00:00:01"}},
         {{Field::Ble, "C2:00:00:00:00:01"}}},
        {"IEEE address",
         [](ProgramOptions& o) {
             o.closing.ieee = RadioAddress({3, 0, 0, 0, 0, 0, 0, 2});
         },
         {{"OverrideIeeeSecondaryAddr", "1"}, {"DeviceIeeeSecondary", "02:00:00:00:00:00:00:03"}},
         {{Field::Ieee, "02:00:00:00:00:00:00:03"}}},
        {"write protection",
         [](ProgramOptions& o) {
             o.closing.protect = SectorsOf({0, 1});
         },
         {{"WriteProtectionToggle", "1"}, {"WriteProtectionText", "0-1"}},
         {{Field::Protect, "0-1"}}},
        {"boot loader",
         [](ProgramOptions& o) { o.closing.disableBootloader = true; },
         {{"DisableBootloader", "1"}},
         {{Field::Bootloader, {}}}},
        {"debug port",
         [](ProgramOptions& o) { o.closing.disableDebug = true; },
         {{"DisableCpuDap", "1"}},
         {{Field::DebugPort, {}}}},
        {"erase",
         [](ProgramOptions& o) { o.erase = EraseChoice::All; },
         {{"FlashEraseSetting", "All Unprotected Sectors"}},
         {{Field::Erase, "All Unprotected Sectors"}}},
        {"listed sectors",
         [](ProgramOptions& o) {
             o.erase = EraseChoice::Listed;
             o.erasedSectors = SectorsOf({7});
         },
         {{"FlashEraseSetting", "Specific Sectors"}, {"ProgramLoadEraseSpecificText", "7"}},
         {{Field::Erase, "Specific Sectors"}, {Field::ErasedSectors, "7"}}},
        {"verification",
         [](ProgramOptions& o) { o.verification = Verification::ReadBack; },
         {{"CrcVerify", "0"}},
         {{Field::Verification, "0"}}},
    };
    return kOptions;
}

TEST(OptionProperties, OfALoadAreThoseOfAPlainOneAndEachOptionsOwn) {
    EXPECT_EQ(Map(PropertiesOf(ProgramOptions{})), kPlainLoad);
    for (const Option& option : Options()) {
        SCOPED_TRACE(option.name);
        ProgramOptions options;
        option.set(options);
        Properties expected = option.properties;
        expected.insert(kPlainLoad.begin(), kPlainLoad.end());

        EXPECT_EQ(Map(PropertiesOf(options)), expected);
    }
}

TEST(OptionProperties, AListOfSectorsToEraseCountsOnlyWithItsChoice) {
    ProgramOptions options;
    options.erasedSectors = SectorsOf({7});

    EXPECT_EQ(Map(PropertiesOf(options)), kPlainLoad);
}

TEST(OptionProperties, OfTheClosingPhaseAreNoneOfTheLoadItself) {
    ClosingChanges changes;
    changes.retainBle = true;
    changes.protect = SectorsOf({2});

    EXPECT_EQ(Map(PropertiesOf(changes)), (Properties{{"RetainBleSecondaryAddr", "1"},
                                                      {"RetainIeeeSecondaryAddr", "0"},
                                                      {"OverrideBleSecondaryAddr", "0"},
                                                      {"OverrideIeeeSecondaryAddr", "0"},
                                                      {"WriteProtectionToggle", "1"},
                                                      {"WriteProtectionText", "2"},
                                                      {"DisableBootloader", "0"},
                                                      {"DisableCpuDap", "0"}}));
}

TEST(OptionProperties, GiveTheOptionBack) {
    for (const Option& option : Options()) {
        SCOPED_TRACE(option.name);
        EXPECT_EQ(FieldsOf(option.properties), option.given);
    }
    EXPECT_EQ(FieldsOf({{"FlashVerboseMode", "1"}}), (Given{{Field::Verbose, {}}}));
    EXPECT_EQ(FieldsOf({{"StandaloneEraseSpecificText", "1,2"}}), (Given{{Field::Sectors, "1,2"}}));
}

TEST(OptionProperties, OneThatIsOnButHasNoValueHasTheStandardOne) {
    EXPECT_EQ(FieldsOf({{"FlashPagesFilledWith", "1"}}), (Given{{Field::SkippedFill, "0xFF"}}));
    EXPECT_EQ(FieldsOf({{"FlashPageToggle", "1"}}), (Given{{Field::SkippedSectors, ""}}));
    EXPECT_EQ(FieldsOf({{"OverrideBleSecondaryAddr", "1"}}), (Given{{Field::Ble, ""}}));
    EXPECT_EQ(FieldsOf({{"WriteProtectionToggle", "1"}}), (Given{{Field::Protect, ""}}));
}

TEST(OptionProperties, OnlyAOneSwitchesAnOptionOn) {
    for (const char* value : {"", "2", "true", " 1"}) {
        EXPECT_EQ(FieldsOf({{"FlashPageToggle", value}, {"FlashPages", "1"}, {"DisableCpuDap", value}}), Given{})
            << value;
    }
    EXPECT_EQ(FieldsOf({{"FlashPages", "1"}, {"DeviceBleSecondary", "x"}, {"Unknown", "1"}}), Given{});
}

TEST(OptionProperties, AnOptionThatIsSwitchedOffIsGivenAsOff) {
    EXPECT_EQ(FieldsOf({{"KeepCcfgSetting", "0"}}), (Given{{Field::KeptCcfg, "false"}}));
    EXPECT_EQ(FieldsOf({{"DisableCpuDap", "0"}}), (Given{{Field::DebugPort, "false"}}));
    EXPECT_EQ(FieldsOf({{"FlashPageToggle", "0"}, {"FlashPages", "1"}}), Given{});
}

TEST(DefaultSettings, AreThoseOfAPlainLoadThatIsNotCheckedAndNothingMore) {
    std::map<std::string, std::string, std::less<>> expected(kPlainLoad.begin(), kPlainLoad.end());
    expected["CrcVerify"] = "0";
    expected["FlashVerboseMode"] = "0";
    expected["StandaloneEraseSpecificText"] = "";

    EXPECT_EQ(DefaultSettings().All(), expected);
}

TEST(OptionProperties, ThatRewriteTheLastSectorOrChangeAWriteAreKnownAsSuch) {
    EXPECT_EQ(ClosingOptions(),
              (std::vector<std::string>{"RetainBleSecondaryAddr", "RetainIeeeSecondaryAddr", "OverrideBleSecondaryAddr",
                                        "OverrideIeeeSecondaryAddr", "WriteProtectionToggle", "DisableBootloader",
                                        "DisableCpuDap"}));
    EXPECT_EQ(WriteOptions(), (std::vector<std::string>{"KeepCcfgSetting", "FlashPageToggle", "FlashPagesFilledWith"}));
}

}  // namespace
}  // namespace flash::host
