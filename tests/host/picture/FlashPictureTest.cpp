// The picture of a load: what it shows, and that it is well-formed whatever the names in it are.
#include "host/picture/FlashPicture.h"

#include <gmock/gmock.h>

#include <pugixml.hpp>
#include <set>

#include "tests/host/picture/LooksAs.h"

namespace flash::host {
namespace {

using ::testing::HasSubstr;

constexpr FlashGeometry kGeometry{4096, 20};  // more than one row

ProgramImage Image() {
    ProgramImage image;
    image.Add(0, std::vector<std::uint8_t>(100), {"a/app.elf", "section .text"});
    image.Add(100, std::vector<std::uint8_t>(50), {"a/app.elf", "section .data"});
    image.Add(0x2000, std::vector<std::uint8_t>(16), {"b.hex", "line 2"});
    image.Add(0x2010, std::vector<std::uint8_t>(16), {"b.hex", "line 3"});
    image.Add(0x3000, std::vector<std::uint8_t>(16), {"b.hex", "line 4"});
    return image;
}

WritePlan Plan() {
    WritePlan plan;
    plan.geometry = kGeometry;
    plan.isCompared = true;
    plan.sectors.resize(kGeometry.sectorCount);
    plan.sectors[0].isErased = plan.sectors[0].isWritten = true;
    plan.sectors[1].isUnchanged = true;
    plan.sectors[2].isWritten = plan.sectors[2].keepsRest = true;
    plan.sectors[3].isSkipped = true;
    plan.sectors[4].isErased = true;
    plan.sectors[5].isWritten = true;
    plan.expected = {{0, std::vector<std::uint8_t>(150)}, {0x5000, std::vector<std::uint8_t>(0x1000)}};
    plan.alreadyRight = {{0x2000, std::vector<std::uint8_t>(32)}};
    return plan;
}

SectorSet Sectors(std::initializer_list<std::uint32_t> indices) {
    SectorSet sectors(kGeometry.sectorCount);
    for (const std::uint32_t index : indices) {
        sectors.Add(index);
    }
    return sectors;
}

// Sector 4 is protected before, sector 5 afterwards; 5 and 19 are blank.
PictureChip Chip() {
    const RadioAddress none({});
    return {{0x58, 20 * 4096 - 0x58, false, false, Sectors({4}), none, none}, Sectors({5, 19}), Sectors({5}), false};
}

// Of the drawing, by its hover text.
std::set<std::string> Titles(const std::string& svg) {
    pugi::xml_document document;
    const pugi::xml_parse_result result = document.load_string(svg.c_str(), pugi::parse_full);
    EXPECT_TRUE(result) << result.description() << " at " << result.offset;
    std::set<std::string> titles;
    for (const pugi::xpath_node& node : document.select_nodes("//title")) {
        titles.insert(node.node().text().get());
    }
    return titles;
}

TEST(SectionsOf, AreThoseOfAnElfFileAndRunsOfRecords) {
    EXPECT_EQ(SectionsOf(Image()),
              (std::vector<PictureSection>{
                  {{0, 100}, ".text"}, {{100, 50}, ".data"}, {{0x2000, 32}, "b.hex"}, {{0x3000, 16}, "b.hex"}}));
}

TEST(FlashPicture, ShowsTheFateOfEachSector) {
    const FlashPicture picture = MakeFlashPicture("part: app", Image(), Plan(), Chip());

    const std::set<std::string> titles = Titles(DrawFlashPicture(picture));

    for (const char* expected :
         {"part: app",
          "Sector 0, 0x00000000 to 0x00000FFF: erased and written (differs); before: differs; "
          "after: 150 bytes from the files, the rest blank",
          "Sector 1, 0x00001000 to 0x00001FFF: already right; before: right; after: kept",
          "Sector 2, 0x00002000 to 0x00002FFF: written, the rest kept (differs); before: differs; "
          "after: 32 bytes from the files, the rest kept",
          "Sector 3, 0x00003000 to 0x00003FFF: skipped; before: data; after: kept",
          "Sector 4, 0x00004000 to 0x00004FFF: only erased (differs); before: differs, protected; after: blank",
          "Sector 5, 0x00005000 to 0x00005FFF: written without erasing (differs); before: blank; "
          "after: all of it from the files, protected",
          "Sector 6, 0x00006000 to 0x00006FFF: untouched (not in the file); before: data; after: kept",
          "Sector 19, 0x00013000 to 0x00013FFF: untouched (not in the file); before: blank; after: blank",
          ".text: 100 bytes at 0x00000000", "b.hex: 32 bytes at 0x00002000", "From the files: 150 bytes at 0x00000000",
          "CCFG stays: the customer configuration area from 0x00013FA8 on"}) {
        EXPECT_TRUE(titles.contains(expected)) << expected;
    }
}

TEST(FlashPicture, TellsWhatBecomesOfCcfg) {
    struct Case {
        bool isThere, isKept, isReplaced, isChanged;
        CcfgFate expected;
    };
    const Case cases[] = {
        {false, false, false, false, CcfgFate::None},        {true, false, false, false, CcfgFate::Untouched},
        {true, false, false, true, CcfgFate::Changed},       {true, true, false, false, CcfgFate::Kept},
        {true, true, false, true, CcfgFate::KeptAndChanged}, {true, false, true, false, CcfgFate::Replaced},
        {true, false, true, true, CcfgFate::Replaced}};
    for (const Case& c : cases) {
        WritePlan plan = Plan();
        PictureChip chip = Chip();
        chip.ccfg.sizeBytes = c.isThere ? 0x58 : 0;
        chip.isCcfgChanged = c.isChanged;
        plan.keepsCcfg = c.isKept;
        plan.replacesCcfg = c.isReplaced;
        EXPECT_EQ(MakeFlashPicture("", Image(), plan, chip).ccfg, c.expected);
    }
}

TEST(FlashPicture, ComparesOnlyWhatWasAsked) {
    struct Case {
        const char* name;
        SectorPlan sector;
        bool isCompared;
        SectorBefore expected;
    };
    const SectorPlan written{.isErased = true, .isWritten = true};
    SectorPlan doubtful = written, carrying = written;
    doubtful.isDoubtful = true;
    carrying.carriesErasing = true;
    const Case cases[] = {{"all is written", written, false, SectorBefore::Data},
                          {"what changed", written, true, SectorBefore::Differs},
                          {"left half done", doubtful, true, SectorBefore::Data},
                          {"right, but written for others", carrying, true, SectorBefore::Right}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        WritePlan plan = Plan();
        plan.isCompared = c.isCompared;
        plan.sectors[7] = c.sector;
        EXPECT_EQ(MakeFlashPicture("", Image(), plan, Chip()).sectors[7].before, c.expected);
    }
}

TEST(FlashPicture, LooksAsItWasFoundGood) {
    ExpectLooksAs("load.svg", DrawFlashPicture(MakeFlashPicture("part: app", Image(), Plan(), Chip())));
}

TEST(FlashPicture, IsWellFormedWhateverTheNamesAre) {
    ProgramImage image;
    image.Add(0, std::vector<std::uint8_t>(5000), {"x", "section </title><script>\x1b\"'&\xff"});
    FlashPicture picture = MakeFlashPicture("]]>\x01<&\"'", image, Plan(), Chip());
    picture.sectors[0].reason = "<reason>";

    const std::string svg = DrawFlashPicture(picture);

    EXPECT_TRUE(Titles(svg).contains("</title><script>\\x1B\"'&\\xFF: 5000 bytes at 0x00000000"));
    EXPECT_EQ(svg.find("<script"), std::string::npos);
    EXPECT_EQ(svg.find('\x1b'), std::string::npos);
}

// Whoever sees no colors tells the fates apart by their letters.
TEST(FlashPicture, HasALetterForEachFateAndTheLegendSaysWhichItIs) {
    const std::string svg = DrawFlashPicture(MakeFlashPicture("part: app", Image(), Plan(), Chip()));

    pugi::xml_document document;
    ASSERT_TRUE(document.load_string(svg.c_str()));
    const auto letterOf = [&](int sector) {
        const std::string path = "//g[@id='sector-" + std::to_string(sector) + "']/text[contains(@class, 'mark')]";
        return std::string(document.select_node(path.c_str()).node().text().get());
    };
    std::string letters;
    for (const int sector : {0, 1, 2, 3, 4, 5, 19}) {
        letters += letterOf(sector);
    }
    EXPECT_EQ(letters, "#=+sew.");
    for (const char* words : {"erased and written", "already right", "skipped", "untouched", "protected by the chip",
                              "bytes of the files", "blank: erased, all 0xFF", "what the chip had",
                              "right: holds what it shall", "differs from what it shall hold"}) {
        EXPECT_THAT(svg, HasSubstr(std::string(">") + words + "</text>"));
    }
}

}  // namespace
}  // namespace flash::host
