// The erase setting's texts.
#include "flashdevice/programming/EraseMode.h"

#include <gtest/gtest.h>

namespace flash::test {
namespace {

TEST(ClassifyEraseSetting, TakesTheFirstTextThatTheSettingContains) {
    struct Case {
        const char* setting;
        EraseMode mode;
    };
    const Case cases[] = {
        {"All Unprotected Sectors", EraseMode::AllUnprotectedSectors},
        {"erase: All Unprotected Sectors, please", EraseMode::AllUnprotectedSectors},
        {"Do not erase sectors (program load only)", EraseMode::NoErase},
        {"Do not erase sectors", EraseMode::NecessarySectors},
        {"Necessary Sectors Only", EraseMode::NecessarySectors},
        {"Necessary Sectors Only (Retain untouched content within sector)", EraseMode::NecessarySectorsRetain},
        {"Necessary Sectors Only (Retain untouched content within sector", EraseMode::NecessarySectors},
        {"(Necessary Sectors Only (Retain untouched content within sector))", EraseMode::NecessarySectorsRetain},
        {"Specific Sectors", EraseMode::SpecificSectors},
        {"By Specific Sectors or so", EraseMode::SpecificSectors},
        {"specific sectors", EraseMode::NecessarySectors},
        {"all unprotected sectors", EraseMode::NecessarySectors},
        {"", EraseMode::NecessarySectors},
        {"anything", EraseMode::NecessarySectors},
        {"Specific Sectors, All Unprotected Sectors", EraseMode::AllUnprotectedSectors},
        {"Specific Sectors, Do not erase sectors (program load only)", EraseMode::NoErase},
        {"Specific Sectors, Necessary Sectors Only (Retain untouched content within sector)",
         EraseMode::NecessarySectorsRetain},
    };
    for (const Case& each : cases) {
        EXPECT_EQ(ClassifyEraseSetting(each.setting), each.mode) << each.setting;
    }
}

TEST(ClassifyEraseSetting, NumbersItsModes) {
    EXPECT_EQ(static_cast<int>(EraseMode::NoErase), 0);
    EXPECT_EQ(static_cast<int>(EraseMode::NecessarySectors), 1);
    EXPECT_EQ(static_cast<int>(EraseMode::NecessarySectorsRetain), 2);
    EXPECT_EQ(static_cast<int>(EraseMode::AllUnprotectedSectors), 3);
    EXPECT_EQ(static_cast<int>(EraseMode::SpecificSectors), 4);
}

}  // namespace
}  // namespace flash::test
