// Properties, and scopes that put them back.
#include "host/settings/Settings.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace flash::host {
namespace {

TEST(Settings, AnUnknownPropertyIsNullAndItsValueEmpty) {
    const Settings settings;

    EXPECT_EQ(settings.Find("Anything"), nullptr);
    EXPECT_EQ(settings.Value("Anything"), "");
}

TEST(Settings, TakesAMapOfPropertiesOverWhatIsThere) {
    Settings settings;
    settings.Set("Kept", "1");
    settings.Set("Changed", "1");

    settings.SetAll({{"Changed", "2"}, {"New", "3"}});

    EXPECT_EQ(settings.Value("Kept") + settings.Value("Changed") + settings.Value("New"), "123");
}

TEST(ScopedSettings, PutsBackWhatWasThereAndWhatWasNot) {
    Settings settings;
    settings.Set("Kept", "old");
    {
        ScopedSettings scope(settings, {{"Kept", "new"}, {"Added", "1"}});
        scope.Set("Kept", "newer");
        EXPECT_EQ(settings.Value("Kept"), "newer");
        EXPECT_EQ(settings.Value("Added"), "1");
    }

    EXPECT_EQ(settings.Value("Kept"), "old");
    EXPECT_EQ(settings.Find("Added"), nullptr);
}

TEST(ScopedSettings, PutsBackAfterAnExceptionAndWhatTheOtherSideChanged) {
    Settings settings;
    settings.Set("FlashEraseSetting", "All Unprotected Sectors");
    try {
        ScopedSettings scope(settings, {{"FlashEraseSetting", "Specific Sectors"}});
        settings.Set("FlashEraseSetting", "changed by the plug-in and left so");
        throw std::runtime_error("on the way");
    } catch (const std::runtime_error&) {
    }

    EXPECT_EQ(settings.Value("FlashEraseSetting"), "All Unprotected Sectors");
}

}  // namespace
}  // namespace flash::host
