// What a user may set by name, and what is refused with a remedy.
#include "host/settings/KnownProperties.h"

#include <gtest/gtest.h>

#include "host/settings/OptionProperties.h"
#include "tests/host/support/Throws.h"

namespace flash::host {
namespace {

TEST(CheckedProperty, ASwitchTakesAllItsWords) {
    for (const char* on : {"1", "true", "on"}) {
        EXPECT_EQ(CheckedProperty("KeepCcfgSetting", on), "1") << on;
    }
    for (const char* off : {"0", "false", "off"}) {
        EXPECT_EQ(CheckedProperty("KeepCcfgSetting", off), "0") << off;
    }
}

TEST(CheckedProperty, EveryPropertyOfAnOptionIsKnown) {
    const Settings settings = DefaultSettings();
    for (const auto& [key, value] : settings.All()) {
        EXPECT_EQ(CheckedProperty(key, value), value) << key;
    }
}

TEST(CheckedProperty, TakesWhatAPluginUnderstands) {
    struct Case {
        const char* key;
        const char* value;
        const char* checked;
    };
    const Case cases[] = {
        {"FlashEraseSetting", "All Unprotected Sectors (Bank Erase)", "All Unprotected Sectors (Bank Erase)"},
        {"FlashEraseSetting", "Do not erase sectors (program load only)", "Do not erase sectors (program load only)"},
        {"FlashPages", "0-3,7", "0-3,7"},
        {"FlashPagesFilledWithValue", "0xEE", "0xEE"},
        {"DeviceBleSecondary", "c2-00-00-00-00-09", "C2:00:00:00:00:09"},
        {"DeviceFlashloaderFile", "a.elf", "a.elf"},
        {"DeviceBleSecondaryLoc", "0x1FFC8:6", "0x1FFC8:6"},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(CheckedProperty(c.key, c.value), c.checked) << c.key;
    }
}

TEST(CheckedProperty, RefusesAValueAndNamesWhatItCanBe) {
    struct Case {
        const char* key;
        const char* value;
        const char* text;
    };
    const Case cases[] = {
        {"KeepCcfgSetting", "yes", "KeepCcfgSetting: \"yes\" is none of true, false, on, off, 1, 0"},
        {"KeepCcfgSetting", "", "KeepCcfgSetting: \"\" is none of true, false, on, off, 1, 0"},
        {"FlashEraseSetting", "garbage",
         "FlashEraseSetting: \"garbage\" is none of All Unprotected Sectors; Do not erase sectors (program load only); "
         "Necessary Sectors Only (Retain untouched content within sector); Specific Sectors; Necessary Sectors Only"},
        {"FlashPages", "1,",
         "FlashPages: there is nothing between two commas or at an end of \"1,\"; expected pages such as 3,5-8"},
        {"FlashPagesFilledWithValue", "256", "FlashPagesFilledWithValue: \"256\" is not a number from 0 to 255"},
        {"DeviceInfoRevisionTranslation", "", "DeviceInfoRevisionTranslation: there is no value"},
        {"DeviceBleSecondaryLoc", "0x1FFC8", "DeviceBleSecondaryLoc: \"0x1FFC8\" is not ADDRESS:LENGTH"},
        {"KeepCcfgSeting", "1", "there is no property KeepCcfgSeting (did you mean KeepCcfgSetting?)"},
        {"KeepCcfg", "1", "there is no property KeepCcfg"},
        {"flasheraseseting", "1", "there is no property flasheraseseting (did you mean FlashEraseSetting?)"},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(FailureOf(FailureKind::BadInput, [&] { CheckedProperty(c.key, c.value); }), c.text);
    }
    EXPECT_EQ(FailureOf(FailureKind::BadInput, [] { CheckedProperty("DeviceBleSecondary", "1"); })
                  .find("DeviceBleSecondary: \"1\" is not an address of 6 bytes"),
              0U);
}

}  // namespace
}  // namespace flash::host
