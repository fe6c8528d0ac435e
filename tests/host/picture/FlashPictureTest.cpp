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
    plan.expected = {{0, std::vector<std::uint8_t>(150)}};
    plan.alreadyRight = {{0x2000, std::vector<std::uint8_t>(32)}};
    return plan;
}

CcfgInfo Ccfg() {
    SectorSet isProtected(kGeometry.sectorCount);
    isProtected.Add(4);
    const RadioAddress none({});
    return {0x58, 20 * 4096 - 0x58, false, false, isProtected, none, none};
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
    const FlashPicture picture = MakeFlashPicture("part: app", Image(), Plan(), Ccfg());

    const std::set<std::string> titles = Titles(DrawFlashPicture(picture));

    for (const char* expected :
         {"part: app", "Sector 0, 0x00000000 to 0x00000FFF: erased and written (differs)",
          "Sector 1, 0x00001000 to 0x00001FFF: already right",
          "Sector 2, 0x00002000 to 0x00002FFF: written, the rest kept (differs)",
          "Sector 3, 0x00003000 to 0x00003FFF: skipped",
          "Sector 4, 0x00004000 to 0x00004FFF: only erased (differs), protected",
          "Sector 5, 0x00005000 to 0x00005FFF: written without erasing (differs)",
          "Sector 19, 0x00013000 to 0x00013FFF: untouched (not in the file)", ".text: 100 bytes at 0x00000000",
          "b.hex: 32 bytes at 0x00002000", "From the files: 150 bytes at 0x00000000",
          "CCFG stays: the customer configuration area from 0x00013FA8 on"}) {
        EXPECT_TRUE(titles.contains(expected)) << expected;
    }
}

TEST(FlashPicture, TellsWhatBecomesOfCcfg) {
    struct Case {
        bool isThere, isKept, isReplaced;
        CcfgFate expected;
    };
    for (const Case& c : {Case{false, false, false, CcfgFate::None}, Case{true, false, false, CcfgFate::Untouched},
                          Case{true, true, false, CcfgFate::Kept}, Case{true, false, true, CcfgFate::Replaced}}) {
        WritePlan plan = Plan();
        CcfgInfo ccfg = Ccfg();
        ccfg.sizeBytes = c.isThere ? 0x58 : 0;
        plan.keepsCcfg = c.isKept;
        plan.replacesCcfg = c.isReplaced;
        EXPECT_EQ(MakeFlashPicture("", Image(), plan, ccfg).ccfg, c.expected);
    }
}

TEST(FlashPicture, LooksAsItWasFoundGood) {
    ExpectLooksAs("load.svg", DrawFlashPicture(MakeFlashPicture("part: app", Image(), Plan(), Ccfg())));
}

TEST(FlashPicture, IsWellFormedWhateverTheNamesAre) {
    ProgramImage image;
    image.Add(0, std::vector<std::uint8_t>(5000), {"x", "section </title><script>\x1b\"'&\xff"});
    FlashPicture picture = MakeFlashPicture("]]>\x01<&\"'", image, Plan(), Ccfg());
    picture.sectors[0].reason = "<reason>";

    const std::string svg = DrawFlashPicture(picture);

    EXPECT_TRUE(Titles(svg).contains("</title><script>\\x1B\"'&\\xFF: 5000 bytes at 0x00000000"));
    EXPECT_EQ(svg.find("<script"), std::string::npos);
    EXPECT_EQ(svg.find('\x1b'), std::string::npos);
}

// Whoever sees no colors tells the fates apart by their letters.
TEST(FlashPicture, HasALetterForEachFateAndTheLegendSaysWhichItIs) {
    const std::string svg = DrawFlashPicture(MakeFlashPicture("part: app", Image(), Plan(), Ccfg()));

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
    for (const char* words : {"erased and written", "already right", "skipped", "untouched", "protected by the chip"}) {
        EXPECT_THAT(svg, HasSubstr(std::string(">") + words + "</text>"));
    }
}

}  // namespace
}  // namespace flash::host
