// What a load does to the flash of a chip, as a picture: each sector before, what happens to it, and after, with the
// files' sections over it. Values in, SVG out.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "host/ccfg/Ccfg.h"
#include "host/devices/FlashGeometry.h"
#include "host/devices/SectorSet.h"
#include "host/files/ProgramImage.h"
#include "host/plan/WritePlan.h"

namespace flash::host {

// A run of bytes in flash.
struct PictureSpan {
    std::uint32_t address;
    std::uint32_t lengthBytes;
    bool operator==(const PictureSpan&) const = default;
};

struct PictureSection {
    PictureSpan where;
    std::string name;  // of a section, else of its file
    bool operator==(const PictureSection&) const = default;
};

// What a sector holds before, compared with what the load would leave there where that was asked.
enum class SectorBefore { Blank, Right, Differs, Data };

struct PictureSector {
    SectorFate fate = SectorFate::Untouched;
    std::string reason;
    SectorBefore before = SectorBefore::Data;
    bool isProtected = false;  // by the chip's CCFG, as it is before
    bool isProtectedAfter = false;
};

enum class CcfgFate { None, Untouched, Changed, Kept, KeptAndChanged, Replaced };

struct FlashPicture {
    std::string title;  // "LumoF2F352: app.elf"
    FlashGeometry geometry{};
    std::vector<PictureSector> sectors;
    std::vector<PictureSection> sections;  // ascending
    std::vector<PictureSpan> fromFiles;    // what stands in flash afterwards as the files say
    CcfgFate ccfg = CcfgFate::None;
    std::uint32_t ccfgAddress = 0;
};

// Of each section of an ELF file one; of the records of a text file, those without a gap between them.
std::vector<PictureSection> SectionsOf(const ProgramImage& image);

// What the plan does not tell of the chip.
struct PictureChip {
    CcfgInfo ccfg;               // before
    SectorSet blankSectors;      // before
    SectorSet protectedAfter;    // by CCFG as the load leaves it
    bool isCcfgChanged = false;  // by the closing phase
};

FlashPicture MakeFlashPicture(const std::string& title, const ProgramImage& image, const WritePlan& plan,
                              const PictureChip& chip);

// One `svg` element, a document of its own or a part of a page.
std::string DrawFlashPicture(const FlashPicture& picture);

}  // namespace flash::host
