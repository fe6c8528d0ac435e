// Device descriptions: those that are shipped, and everything that a file can have wrong.
#include "host/devices/DeviceDescription.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>
#include <fstream>

#include "tests/host/support/Throws.h"

namespace flash::host {
namespace {

const char* const kGood = R"(<?xml version="1.0"?>
<flashProperties device="LumoD1X" summary="For the test">
    <chip sectorSize="4096" sectors="32" referenceFlashSize="0x20000" ramSizeCode="3" revisionCode="1"
          ccfgSizeRegister="0x50003FB0"/>
    <property key="DeviceInfoRevisionTranslation" value="0:1.0:A"/>
    <property key="DeviceFlashloaderFile" value="lumod-flashloader.elf"/>
    <property key="DeviceIeeePrimaryLoc" value="0x50001200:8"/>
    <property key="DeviceBlePrimaryLoc" value="50001208:6"/>
    <property key="DeviceIeeeSecondaryLoc" value="0x1FFC0:8"/>
    <property key="DeviceBleSecondaryLoc" value="0x1FFC8:6"/>
    <property key="DisableBootloaderLoc" value="0x1FFD3:1"/>
    <property key="DisableCpuDapLoc" value="0x1FFD7:1"/>
    <property key="CCFG_PROT_31_0Loc" value="0x1FFE0:8"/>
</flashProperties>
)";

std::filesystem::path FileWith(const std::string& text) {
    std::filesystem::path file = std::filesystem::path(testing::TempDir()) / "description.xml";
    std::ofstream(file) << text;
    return file;
}

std::string GoodWith(const std::string& from, const std::string& to) {
    std::string text = kGood;
    text.replace(text.find(from), from.size(), to);
    return text;
}

TEST(DeviceDescription, EveryShippedFileLoadsAndNamesItsGeneration) {
    const std::vector<DeviceDescription> devices = LoadDeviceDescriptions(FLASH_DEVICES_FOLDER).devices;

    ASSERT_GE(devices.size(), 6u);
    for (const DeviceDescription& device : devices) {
        SCOPED_TRACE(device.name);
        EXPECT_EQ(device.IsSecondGeneration(), device.name.starts_with("LumoF"));
        EXPECT_EQ(device.sectorSizeBytes, device.IsSecondGeneration() ? 8192u : 4096u);
        EXPECT_EQ(device.Location("CCFG_PROT_31_0").address, device.referenceFlashSizeBytes - 0x20);
    }
}

TEST(DeviceDescription, AGoodFileGivesItsValues) {
    const DeviceDescription device = LoadDeviceDescription(FileWith(kGood));

    EXPECT_EQ(device.name, "LumoD1X");
    EXPECT_EQ(device.FlashSizeBytes(), 0x20000u);
    EXPECT_EQ(device.Location("DeviceBlePrimary").address, 0x50001208u);
    EXPECT_EQ(device.Location("DeviceBlePrimary").lengthBytes, 6u);
}

TEST(DeviceDescription, ALocationInFlashMovesWithTheEndOfFlashAndAnotherDoesNot) {
    const DeviceDescription device = LoadDeviceDescription(FileWith(kGood));

    EXPECT_EQ(device.Location("DeviceBleSecondary", 0x8000).address, 0x7FC8u);
    EXPECT_EQ(device.Location("DeviceBlePrimary", 0x8000).address, 0x50001208u);
}

TEST(DeviceDescription, HasTheFilesProperties) {
    const DeviceDescription device = LoadDeviceDescription(FileWith(kGood));

    EXPECT_EQ(device.properties.at("DisableCpuDapLoc"), "0x1FFD7:1");
    EXPECT_EQ(device.properties.at("DeviceFlashloaderFile"), "lumod-flashloader.elf");
}

TEST(DeviceDescription, MayNameTheControllerOfAVirtualChip) {
    EXPECT_EQ(LoadDeviceDescription(FileWith(kGood)).controller, "");
    EXPECT_EQ(LoadDeviceDescription(FileWith(GoodWith("sectors=", "controller=\"unit=8\" sectors="))).controller,
              "unit=8");
}

TEST(DeviceDescription, RefusesWhatIsWrongWithFileAndLine) {
    struct Case {
        const char* name;
        std::string text;
        const char* expected;  // behind the file's name
    };
    const Case cases[] = {
        {"no XML", "hello", ":1: is not well-formed XML"},
        {"empty", "", ": the file is empty"},
        {"larger than any description", std::string((1 << 20) + 1, ' '),
         ": the file has 1048577 bytes, at most 1048576 are allowed"},
        {"cut off", std::string(kGood).substr(0, 300), "is not well-formed XML"},
        {"another document", "<other/>", ":1: starts with <other>, expected <flashProperties>"},
        {"no digit", GoodWith("LumoD1X", "LumoDX"), ":2: the device name \"LumoDX\" has no digit"},
        {"no device", GoodWith("device=\"LumoD1X\"", ""), ":2: <flashProperties> needs the attribute device"},
        {"unknown attribute", GoodWith("summary", "sumary"), ":2: <flashProperties> has no attribute sumary"},
        {"unknown element", GoodWith("<chip", "<chop/><chip"), ":3: <flashProperties> cannot hold <chop>"},
        {"two documents", std::string(kGood) + "<flashProperties/>", "is not well-formed XML: one element"},
        {"text behind", std::string(kGood) + "more", "is not well-formed XML: one element"},
        {"zero byte", std::string(kGood) + '\0', "holds a zero byte"},
        {"attribute twice", GoodWith("sectors=\"32\"", "sectors=\"32\" sectors=\"16\""),
         ":3: <chip> has the attribute sectors twice"},
        {"line break in a value", GoodWith("DisableCpuDapLoc", "Disable&#10;CpuDapLoc"),
         ":12: the attribute key holds a control character"},
        {"stray text", GoodWith("<chip", "stray <chip"), ": <flashProperties> cannot hold text"},
        {"two chips", GoodWith("<chip", "<chip/><chip"), ":2: needs exactly one <chip>"},
        {"no sectors", GoodWith("sectors=\"32\"", "sectors=\"0\""), ":3: sectors=\"0\" is not a number from 1 to 128"},
        {"too many sectors", GoodWith("sectors=\"32\"", "sectors=\"129\""), ":3: sectors=\"129\""},
        {"empty controller", GoodWith("sectors=", "controller=\"\" sectors="),
         ":3: <chip> needs the attribute controller"},
        {"no number", GoodWith("\"4096\"", "\"4K\""), ":3: sectorSize=\"4K\" is not a number"},
        {"unknown key", GoodWith("DisableCpuDapLoc", "DisableCpuDap"), ":12: the property DisableCpuDap is not known"},
        {"missing key", GoodWith("    <property key=\"DisableCpuDapLoc\" value=\"0x1FFD7:1\"/>\n", ""),
         ":2: the property DisableCpuDapLoc is missing"},
        {"key twice", GoodWith("DisableCpuDapLoc", "DisableBootloaderLoc"),
         ":12: the property DisableBootloaderLoc stands twice"},
        {"one number", GoodWith("0x1FFD7:1", "0x1FFD7"), ":12: DisableCpuDapLoc=\"0x1FFD7\" is not ADDRESS:LENGTH"},
        {"length 0", GoodWith("0x1FFD7:1", "0x1FFD7:0"), ":12: DisableCpuDapLoc"},
        {"length of another field", GoodWith("0x1FFC8:6", "0x1FFC8:4"),
         ":10: DeviceBleSecondaryLoc=\"0x1FFC8:4\" is not ADDRESS:LENGTH, both hexadecimal, the length 6"},
        {"switch in front of the last sector", GoodWith("0x1FFD7:1", "0x1EFFF:1"),
         ":12: DisableCpuDapLoc=\"0x1EFFF:1\" is not in the last sector of 0x20000 bytes of flash"},
        {"protection across the end of flash", GoodWith("0x1FFE0:8", "0x1FFFC:8"), ":13: CCFG_PROT_31_0Loc"},
        {"protection at the end of memory", GoodWith("0x1FFE0:8", "0xFFFFFFFF:8"), ":13: CCFG_PROT_31_0Loc"},
        {"address outside of flash", GoodWith("0x1FFC0:8", "0x20000:8"), ":9: DeviceIeeeSecondaryLoc"},
        {"no hexadecimal", GoodWith("0x1FFD7:1", "0xZ:1"), ":12: DisableCpuDapLoc"},
        {"revision table of two", GoodWith("0:1.0:A", "0:1.0"),
         ":5: DeviceInfoRevisionTranslation=\"0:1.0\" is not a list"},
        {"revision without point", GoodWith("0:1.0:A", "0:1:A"), ":5: DeviceInfoRevisionTranslation"},
        {"revision code too large", GoodWith("0:1.0:A", "16:1.0:A"), ":5: DeviceInfoRevisionTranslation"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const std::filesystem::path file = FileWith(c.text);

        const std::string text = FailureOf(FailureKind::BadInput, [&] { LoadDeviceDescription(file); });

        EXPECT_EQ(text.find(file.string() + ":"), 0u) << text;
        EXPECT_NE(text.find(c.expected), std::string::npos) << text;
    }
}

TEST(DeviceDescription, TakesEachNumberOfTheChipUpToItsBounds) {
    struct Case {
        const char* name;
        const char* usual;
        std::uint64_t least, most;
    };
    const Case cases[] = {
        {"sectorSize", "4096", 256, 0x1'0000},
        {"sectors", "32", 1, 128},
        {"referenceFlashSize", "0x20000", 256, 0x100'0000},
        {"ramSizeCode", "3", 0, 3},
        {"revisionCode", "1", 0, 15},
        {"ccfgSizeRegister", "0x50003FB0", 0, 0xFFFF'FFFC},
    };
    for (const Case& c : cases) {
        const std::string usual = std::string(c.name) + "=\"" + c.usual + "\"";
        const auto isTaken = [&](std::uint64_t number) {
            const std::string chosen = std::string(c.name) + "=\"" + std::to_string(number) + "\"";
            try {
                LoadDeviceDescription(FileWith(GoodWith(usual, chosen)));
            } catch (const Failure& failure) {  // of something else, once the number is taken
                return std::string(failure.what()).find(chosen + " is not a number from") == std::string::npos;
            }
            return true;
        };
        EXPECT_TRUE(isTaken(c.least) && isTaken(c.most)) << c.name;
        EXPECT_FALSE(c.least > 0 && isTaken(c.least - 1)) << c.name;
        EXPECT_FALSE(isTaken(c.most + 1)) << c.name;
    }
}

TEST(DeviceDescription, FieldsInCcfgMayFillTheLastSector) {
    const std::filesystem::path file =
        FileWith(GoodWith("0x1FFC0:8", "0x1F000:8").replace(std::string(kGood).find("0x1FFE0:8"), 9, "0x1FFF8:8"));

    const DeviceDescription device = LoadDeviceDescription(file);

    EXPECT_EQ(device.Location("DeviceIeeeSecondary").address, 0x1F000u);
    EXPECT_EQ(device.Location("CCFG_PROT_31_0").address, 0x1FFF8u);
}

TEST(DeviceDescription, WhatIsNoRegularFileIsRefusedBeforeItIsOpened) {
    const std::filesystem::path folder = std::filesystem::path(testing::TempDir()) / "descriptions";
    std::filesystem::remove_all(folder);
    std::filesystem::create_directory(folder);
    const auto failureOf = [&] { return FailureOf(FailureKind::BadInput, [&] { LoadDeviceDescriptions(folder); }); };

    std::filesystem::create_directory(folder / "x.xml");
    EXPECT_EQ(failureOf(), (folder / "x.xml").string() + ": this is a folder, expected a file");

    std::filesystem::remove(folder / "x.xml");
    ASSERT_EQ(mkfifo((folder / "x.xml").c_str(), 0600), 0);
    EXPECT_EQ(failureOf(), (folder / "x.xml").string() + ": this is a device or a pipe, expected a regular file");

    std::filesystem::remove(folder / "x.xml");
    std::filesystem::create_symlink("/dev/zero", folder / "x.xml");
    EXPECT_EQ(failureOf(), (folder / "x.xml").string() + ": this is a device or a pipe, expected a regular file");
}

TEST(DeviceDescription, AMissingFileAndAnEmptyFolderAreNamed) {
    EXPECT_NE(FailureOf(FailureKind::BadInput, [] { LoadDeviceDescription("/nowhere/x.xml"); }).find("/nowhere/x.xml"),
              std::string::npos);
    EXPECT_EQ(FailureOf(FailureKind::BadInput, [] { LoadDeviceDescriptions("/nowhere"); }),
              "Cannot read the folder of device descriptions /nowhere: No such file or directory; give it with "
              "\"devices folder\"");
}

TEST(DeviceDescription, AWrongOneLeavesTheOthersUsable) {
    const std::filesystem::path folder = std::filesystem::path(testing::TempDir()) / "mixed";
    std::filesystem::remove_all(folder);
    std::filesystem::create_directory(folder);
    const auto write = [&](const char* name, const std::string& text) { std::ofstream(folder / name) << text; };
    write("a.xml", GoodWith("LumoD1X", "LumoD1A"));
    write("b.xml", "<other/>");
    write("c.xml", GoodWith("LumoD1X", "LumoD1C"));
    write("d.xml", GoodWith("LumoD1X", "LumoD1C"));

    const DeviceDescriptions found = LoadDeviceDescriptions(folder);

    ASSERT_EQ(found.devices.size(), 1u);
    EXPECT_EQ(found.devices.front().name, "LumoD1A");
    ASSERT_EQ(found.problems.size(), 2u);
    EXPECT_EQ(found.problems[0].Plain(),
              (folder / "b.xml").string() + ":1: starts with <other>, expected <flashProperties>");
    EXPECT_EQ(found.problems[1].Plain(),
              (folder / "c.xml").string() + " and " + (folder / "d.xml").string() + " both describe LumoD1C");
}

TEST(FindDevice, TakesTheNameAndClearAbbreviationsWithoutRegardToCase) {
    const std::vector<DeviceDescription> devices = LoadDeviceDescriptions(FLASH_DEVICES_FOLDER).devices;
    struct Case {
        const char* partName;
        const char* expected;
    };
    const Case cases[] = {{"LumoF2F352", "LumoF2F352"},
                          {"lumof2f352", "LumoF2F352"},
                          {"LumoF2", "LumoF2F352"},
                          {"LUMOD1F6", "LumoD1F64"}};
    for (const Case& c : cases) {
        EXPECT_EQ(FindDevice(devices, c.partName).name, c.expected) << c.partName;
    }
}

TEST(FindDevice, RefusesUnknownAndUnclearNames) {
    const std::vector<DeviceDescription> devices = LoadDeviceDescriptions(FLASH_DEVICES_FOLDER).devices;
    struct Case {
        const char* partName;
        const char* expected;
    };
    const Case cases[] = {
        {"AnotherPart", "\"device\": there is no part \"AnotherPart\"; known are LumoD1F128"},
        {"LumoF2F352X", "there is no part \"LumoF2F352X\" (did you mean LumoF2F352?); known are"},
        {"LumoF2F532", "there is no part \"LumoF2F532\" (did you mean LumoF2F352?); known are"},
        {"LumoD1", "\"LumoD1\" is short for more than one part: LumoD1F128, "},
        {"Lumo", "is short for more than one part"},
        {"", "there is no part \"\""},
    };
    for (const Case& c : cases) {
        const std::string text = FailureOf(FailureKind::BadInput, [&] { FindDevice(devices, c.partName); });
        EXPECT_NE(text.find(c.expected), std::string::npos) << text;
    }
}

}  // namespace
}  // namespace flash::host
