// How a picture of flash shows what happens to a sector: each fate has a pattern and a letter of its own, so that
// colors only help.
#pragma once

#include <string>

#include "host/picture/FlashPicture.h"
#include "host/plan/WritePlan.h"

namespace flash::host {

struct FateLook {
    SectorFate fate;
    const char* words;
    const char* fill;
    const char* pattern;  // drawn over the fill; "" for none
};

const FateLook& LookOf(SectorFate fate);

// To stand in front of all that is drawn.
extern const char* const kPictureStyle;
extern const char* const kPicturePatterns;

std::string FateBox(double x, double y, double width, double height, const FateLook& look);

// The letter of the map that is drawn as text, around a middle.
std::string FateMark(double x, double y, const FateLook& look);

// What a sector holds, in a word over a fill of its own; no word where the files' bytes are drawn over it.
struct StripLook {
    const char* fill;
    const char* word;
};

StripLook LookOf(SectorBefore before);
StripLook LookAfter(const PictureSector& sector, bool hasFileBytes);

inline constexpr double kStripHeight = 13, kPadlockWidth = 14;
std::string Strip(double x, double y, double width, const StripLook& look, bool isProtected);

// On a plate, as high as a strip.
std::string Padlock(double x, double y);

// "all of it from the files", "100 bytes from the files, the rest blank", "kept".
std::string ContentAfter(const PictureSector& sector, std::uint64_t fileBytes, std::uint32_t sectorSizeBytes);

inline constexpr double kLegendHeight = 106;
std::string PictureLegend(double left, double top);

}  // namespace flash::host
