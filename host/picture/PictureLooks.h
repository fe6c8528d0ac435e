// How a picture of flash shows what happens to a sector: each fate has a pattern and a letter of its own, so that
// colors only help.
#pragma once

#include <string>

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

std::string Padlock(double x, double y);

inline constexpr double kLegendHeight = 82;
std::string PictureLegend(double left, double top);

}  // namespace flash::host
