#include "host/picture/PictureLooks.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <utility>

#include "host/Words.h"
#include "host/picture/Markup.h"

namespace flash::host {
namespace {

constexpr std::array kFateLooks = {
    FateLook{SectorFate::ErasedAndWritten, "erased and written", "#0072b2", ""},
    FateLook{SectorFate::WrittenWithRestKept, "written, the rest kept", "#8fc7ea", "rising"},
    FateLook{SectorFate::Written, "written without erasing", "#66c2a5", "falling"},
    FateLook{SectorFate::Erased, "only erased", "#f6c7a6", "crossed"},
    FateLook{SectorFate::Skipped, "skipped", "#f3e68a", "level"},
    FateLook{SectorFate::AlreadyRight, "already right", "#d9e8cf", "dotted"},
    FateLook{SectorFate::Untouched, "untouched", "#ffffff", ""},
};

constexpr StripLook kBlank{"#ffffff", "blank"};
constexpr const char* kAsBefore = "url(#before)";

bool IsRestBlank(const PictureSector& sector) {
    return sector.before == SectorBefore::Blank || sector.fate == SectorFate::ErasedAndWritten ||
           sector.fate == SectorFate::Erased;
}

}  // namespace

const char* const kPictureStyle =
    "<style>text{font:12px 'DejaVu Sans',Verdana,Arial,sans-serif;fill:#1b1b1b}.title{font-size:17px;font-weight:bold}"
    ".small{font-size:10.5px}.name{font-size:11px}.mark{font-size:19px;font-weight:bold;text-anchor:middle}"
    ".light{fill:#ffffff}.middle{text-anchor:middle}.end{text-anchor:end}.box{stroke:#444444;stroke-width:1}"
    ".ink{stroke:#1b1b1b;stroke-width:1.2;fill:none}</style>\n";

const char* const kPicturePatterns =
    "<defs>\n"
    "<pattern id=\"rising\" width=\"8\" height=\"8\" patternUnits=\"userSpaceOnUse\">"
    "<path d=\"M-2 2L2 -2M0 8L8 0M6 10L10 6\" stroke=\"#1f5f8b\"/></pattern>\n"
    "<pattern id=\"falling\" width=\"8\" height=\"8\" patternUnits=\"userSpaceOnUse\">"
    "<path d=\"M-2 6L2 10M0 0L8 8M6 -2L10 2\" stroke=\"#1d6b50\"/></pattern>\n"
    "<pattern id=\"crossed\" width=\"8\" height=\"8\" patternUnits=\"userSpaceOnUse\">"
    "<path d=\"M0 0L8 8M0 8L8 0\" stroke=\"#b3561a\" stroke-width=\"0.8\"/></pattern>\n"
    "<pattern id=\"level\" width=\"8\" height=\"5\" patternUnits=\"userSpaceOnUse\">"
    "<path d=\"M0 2.5H8\" stroke=\"#8a7a00\"/></pattern>\n"
    "<pattern id=\"dotted\" width=\"7\" height=\"7\" patternUnits=\"userSpaceOnUse\">"
    "<circle cx=\"2\" cy=\"2\" r=\"1.1\" fill=\"#4d7a35\"/></pattern>\n"
    "<pattern id=\"before\" width=\"6\" height=\"6\" patternUnits=\"userSpaceOnUse\">"
    "<path d=\"M0 6L6 0\" stroke=\"#bbbbbb\" stroke-width=\"0.7\"/></pattern>\n"
    "</defs>\n";

const FateLook& LookOf(SectorFate fate) { return *std::ranges::find(kFateLooks, fate, &FateLook::fate); }

std::string FateBox(double x, double y, double width, double height, const FateLook& look) {
    std::string box = SvgRectangle(x, y, width, height, fmt::format("class=\"box\" fill=\"{}\"", look.fill));
    if (*look.pattern != '\0') {
        box += SvgRectangle(x, y, width, height, fmt::format("fill=\"url(#{})\"", look.pattern));
    }
    return box;
}

// A letter on a plate of the fill, so that the pattern does not run through it.
std::string FateMark(double x, double y, const FateLook& look) {
    const bool isDark = look.fate == SectorFate::ErasedAndWritten;
    const std::string plate = *look.pattern == '\0' ? ""
                                                    : fmt::format("<circle cx=\"{}\" cy=\"{}\" r=\"11\" fill=\"{}\"/>",
                                                                  Coordinate(x), Coordinate(y), look.fill);
    return plate + SvgText(x, y + 7, isDark ? "mark light" : "mark", std::string(1, MapCharacter(look.fate)));
}

StripLook LookOf(SectorBefore before) {
    switch (before) {
        case SectorBefore::Blank:
            return kBlank;
        case SectorBefore::Right:
            return {"#d9e8cf", "right"};
        case SectorBefore::Differs:
            return {"#f6d5cb", "differs"};
        default:
            return {kAsBefore, "data"};
    }
}

StripLook LookAfter(const PictureSector& sector, bool hasFileBytes) {
    const StripLook look = IsRestBlank(sector) ? kBlank : StripLook{kAsBefore, "kept"};
    return {look.fill, hasFileBytes ? "" : look.word};
}

std::string Strip(double x, double y, double width, const StripLook& look, bool isProtected) {
    const double end = x + width - (isProtected ? kPadlockWidth : 0);
    return SvgRectangle(x, y, width, kStripHeight, fmt::format("class=\"box\" fill=\"{}\"", look.fill)) +
           (*look.word == '\0' ? "" : SvgText((x + end) / 2, y + 10, "small middle", look.word)) +
           (isProtected ? Padlock(end, y) : "");
}

std::string Padlock(double x, double y) {
    return fmt::format(
        "<g transform=\"translate({} {})\"><rect x=\"0.5\" y=\"0.5\" width=\"13\" height=\"12\" fill=\"#ffffff\"/>"
        "<path class=\"ink\" d=\"M4.5 6V4.2a2.5 2.5 0 0 1 5 0V6\"/>"
        "<rect x=\"2.5\" y=\"5.5\" width=\"9\" height=\"6\" fill=\"#1b1b1b\"/></g>",
        Coordinate(x), Coordinate(y));
}

std::string ContentAfter(const PictureSector& sector, std::uint64_t fileBytes, std::uint32_t sectorSizeBytes) {
    const std::string rest = IsRestBlank(sector) ? "blank" : "kept";
    return fileBytes == 0                 ? rest
           : fileBytes == sectorSizeBytes ? "all of it from the files"
                                          : Counted(fileBytes, "byte") + " from the files, the rest " + rest;
}

std::string PictureLegend(double left, double top) {
    constexpr double kColumn = 240, kLine = 24, kBox = 26, kBoxHeight = 18;
    constexpr std::size_t kColumns = 4;
    std::string legend;
    std::size_t item = 0;
    const auto add = [&](const std::string& sample, const char* words) {
        const double x = left + kColumn * static_cast<double>(item % kColumns);
        const double y = top + kLine * static_cast<double>(item / kColumns);
        legend += fmt::format("<g transform=\"translate({} {})\">{}{}</g>\n", Coordinate(x), Coordinate(y), sample,
                              SvgText(kBox + 8, 13, "", words));
        ++item;
    };
    for (const FateLook& look : kFateLooks) {
        add(FateBox(0, 0, kBox, kBoxHeight, look) + FateMark(kBox / 2, kBoxHeight / 2, look), look.words);
    }
    add(Padlock(6, 3), "protected by the chip");
    add(SvgRectangle(0, 3, kBox, kStripHeight, "fill=\"#0072b2\""), "bytes of the files");
    add(Strip(0, 3, kBox, {kBlank.fill, ""}, false), "blank: erased, all 0xFF");
    add(Strip(0, 3, kBox, {kAsBefore, ""}, false), "what the chip had");
    add(Strip(0, 3, kBox, {"#d9e8cf", ""}, false), "right: holds what it shall");
    add(Strip(0, 3, kBox, {"#f6d5cb", ""}, false), "differs from what it shall hold");
    return legend;
}

}  // namespace flash::host
