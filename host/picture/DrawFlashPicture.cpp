// The drawing: rows of sectors, each row with the sections of the files, then what was before, what is done and what is
// there afterwards. Every fate has a pattern and a letter of its own, so that colors only help.
#include <fmt/format.h>

#include <algorithm>
#include <functional>
#include <string_view>
#include <utility>

#include "host/Words.h"
#include "host/picture/FlashPicture.h"
#include "host/picture/Markup.h"
#include "host/picture/PictureLooks.h"

namespace flash::host {
namespace {

constexpr std::uint32_t kSectorsPerRow = 16;
constexpr double kCellWidth = 60, kLeft = 112, kRight = 28, kTop = 58;
constexpr double kRowWidth = kSectorsPerRow * kCellWidth;
constexpr double kWidth = kLeft + kRowWidth + kRight;

// Within a row, from its top.
constexpr double kLabelBase = 11, kSectionTop = 15, kSectionHeight = 9;
constexpr double kBeforeTop = 28, kFateTop = 43, kFateHeight = 34, kAfterTop = 79, kNumberBase = 103;
constexpr double kRowHeight = 122;
constexpr double kLegendTop = 14;
constexpr double kCharacterWidth = 6.4;

const char* CcfgWords(CcfgFate fate) {
    switch (fate) {
        case CcfgFate::Changed:
            return "CCFG changed";
        case CcfgFate::Kept:
            return "CCFG kept";
        case CcfgFate::KeptAndChanged:
            return "CCFG kept and changed";
        case CcfgFate::Replaced:
            return "CCFG replaced";
        case CcfgFate::Untouched:
            return "CCFG stays";
        default:
            return "no CCFG before";
    }
}

std::string AddressText(std::uint32_t address) { return fmt::format("0x{:08X}", address); }

class Drawing {
public:
    explicit Drawing(const FlashPicture& drawn)
        : picture(drawn), rowCount((drawn.geometry.sectorCount + kSectorsPerRow - 1) / kSectorsPerRow) {}

    std::string Draw() {
        const double height = LegendTop() + kLegendHeight;
        svg = fmt::format(
            "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"{0}\" height=\"{1}\" viewBox=\"0 0 {0} {1}\" "
            "role=\"img\">\n",
            Coordinate(kWidth), Coordinate(height));
        svg += SvgTitle(picture.title) + "\n" + kPictureStyle + kPicturePatterns;
        svg += SvgRectangle(0, 0, kWidth, height, "fill=\"#ffffff\"") + "\n";
        DrawHead();
        for (std::uint32_t row = 0; row < rowCount; ++row) {
            DrawRow(row);
        }
        svg += PictureLegend(kLeft, LegendTop());
        return svg + "</svg>\n";
    }

private:
    double LegendTop() const { return kTop + rowCount * kRowHeight + kLegendTop; }
    double RowTop(std::uint32_t row) const { return kTop + row * kRowHeight; }

    std::uint32_t RowBytes() const { return kSectorsPerRow * picture.geometry.sectorSizeBytes; }

    // A place in a row, in the picture.
    double XOf(std::uint64_t address, std::uint32_t row) const {
        const std::uint64_t first = std::uint64_t{row} * RowBytes();
        return kLeft + kRowWidth * static_cast<double>(address - first) / RowBytes();
    }

    void DrawHead() {
        svg += SvgText(kLeft, 24, "title", Shortened(picture.title, 90)) + "\n";
        const FlashGeometry& geometry = picture.geometry;
        svg += SvgText(kLeft, 42, "small",
                       fmt::format("{} of {} each, {} KiB of flash", Counted(geometry.sectorCount, "sector"),
                                   Counted(geometry.sectorSizeBytes, "byte"), geometry.SizeBytes() / 1024)) +
               "\n";
    }

    void DrawRow(std::uint32_t row) {
        const double top = RowTop(row);
        const std::uint32_t first = row * kSectorsPerRow;
        const std::uint32_t end = std::min(first + kSectorsPerRow, picture.geometry.sectorCount);
        const std::pair<double, std::string> names[] = {
            {kSectionTop + 8, "files"},
            {kBeforeTop + 10, "before"},
            {kFateTop + 21, AddressText(first * picture.geometry.sectorSizeBytes)},
            {kAfterTop + 10, "after"}};
        for (const auto& [base, name] : names) {
            svg += SvgText(kLeft - 8, top + base, "small end", name) + "\n";
        }
        for (std::uint32_t sector = first; sector < end; ++sector) {
            DrawSector(sector, kLeft + (sector - first) * kCellWidth, top);
        }
        DrawSpansAfter(row, top);
        for (std::uint32_t sector = first; sector < end; ++sector) {
            const double x = kLeft + (sector - first + 1) * kCellWidth;
            svg += picture.sectors[sector].isProtectedAfter ? Padlock(x - kPadlockWidth, top + kAfterTop) : "";
        }
        DrawSections(row, top);
        if (end == picture.geometry.sectorCount) {
            DrawCcfg(kLeft + (end - first) * kCellWidth, top);
        }
    }

    std::uint64_t BytesFromFiles(std::uint32_t index) const {
        const std::uint64_t first = std::uint64_t{index} * picture.geometry.sectorSizeBytes;
        const std::uint64_t end = first + picture.geometry.sectorSizeBytes;
        std::uint64_t count = 0;
        for (const PictureSpan& span : picture.fromFiles) {
            const std::uint64_t begin = std::max<std::uint64_t>(span.address, first);
            const std::uint64_t spanEnd = std::min(std::uint64_t{span.address} + span.lengthBytes, end);
            count += begin < spanEnd ? spanEnd - begin : 0;
        }
        return count;
    }

    std::string HoverText(std::uint32_t index) const {
        const PictureSector& sector = picture.sectors[index];
        const std::uint32_t size = picture.geometry.sectorSizeBytes;
        std::string text = fmt::format("Sector {}, {} to {}: {}", index, AddressText(index * size),
                                       AddressText((index + 1) * size - 1), LookOf(sector.fate).words);
        text += sector.reason == LookOf(sector.fate).words ? "" : " (" + sector.reason + ")";
        text += fmt::format("; before: {}{}", LookOf(sector.before).word, sector.isProtected ? ", protected" : "");
        return text + fmt::format("; after: {}{}", ContentAfter(sector, BytesFromFiles(index), size),
                                  sector.isProtectedAfter ? ", protected" : "");
    }

    void DrawSector(std::uint32_t index, double x, double top) {
        const PictureSector& sector = picture.sectors[index];
        const FateLook& look = LookOf(sector.fate);
        svg += fmt::format("<g id=\"sector-{}\">", index) + SvgTitle(HoverText(index));
        svg += FateBox(x, top + kFateTop, kCellWidth, kFateHeight, look) +
               FateMark(x + kCellWidth / 2, top + kFateTop + kFateHeight / 2, look);
        svg += Strip(x, top + kBeforeTop, kCellWidth, LookOf(sector.before), sector.isProtected);
        const bool hasFileBytes = BytesFromFiles(index) != 0;
        svg += Strip(x, top + kAfterTop, kCellWidth, LookAfter(sector, hasFileBytes), false);
        svg += SvgText(x + kCellWidth / 2, top + kNumberBase, "small middle", std::to_string(index)) + "</g>\n";
    }

    bool IsInRow(const PictureSpan& span, std::uint32_t row) const {
        const std::uint64_t first = std::uint64_t{row} * RowBytes();
        return span.address < first + RowBytes() && std::uint64_t{span.address} + span.lengthBytes > first;
    }

    // Where the part of the span in this row begins, and its width, which can be seen.
    std::pair<double, double> PlaceInRow(const PictureSpan& span, std::uint32_t row) const {
        constexpr double kLeastWidth = 1.5;
        const std::uint64_t first = std::uint64_t{row} * RowBytes();
        const double begin = XOf(std::max<std::uint64_t>(span.address, first), row);
        const double end = XOf(std::min(std::uint64_t{span.address} + span.lengthBytes, first + RowBytes()), row);
        const double width = std::max(end - begin, kLeastWidth);
        return {std::min(begin, kLeft + kRowWidth - width), width};
    }

    void DrawSpansAfter(std::uint32_t row, double top) {
        for (const PictureSpan& span : picture.fromFiles) {
            if (IsInRow(span, row)) {
                const auto [x, width] = PlaceInRow(span, row);
                svg += fmt::format("<g>{}{}</g>\n",
                                   SvgTitle(fmt::format("From the files: {} at {}", Counted(span.lengthBytes, "byte"),
                                                        AddressText(span.address))),
                                   SvgRectangle(x, top + kAfterTop + 2, width, kStripHeight - 4, "fill=\"#0072b2\""));
            }
        }
    }

    // Names where there is room for them, those of the longest sections first.
    void DrawSections(std::uint32_t row, double top) {
        std::vector<const PictureSection*> sections;
        for (const PictureSection& section : picture.sections) {
            if (IsInRow(section.where, row)) {
                sections.push_back(&section);
                DrawSection(section, row, top, sections.size() % 2 == 0);
            }
        }
        std::ranges::stable_sort(sections, std::ranges::greater(),
                                 [&](const auto* section) { return PlaceInRow(section->where, row).second; });
        std::vector<std::pair<double, double>> taken;
        for (const PictureSection* section : sections) {
            DrawName(section->name, PlaceInRow(section->where, row).first, top, taken);
        }
    }

    void DrawSection(const PictureSection& section, std::uint32_t row, double top, bool isLight) {
        const auto [x, width] = PlaceInRow(section.where, row);
        svg += "<g>" +
               SvgTitle(fmt::format("{}: {} at {}", section.name, Counted(section.where.lengthBytes, "byte"),
                                    AddressText(section.where.address))) +
               SvgRectangle(x, top + kSectionTop, width, kSectionHeight,
                            isLight ? "fill=\"#a99bcf\"" : "fill=\"#5b4a8a\"") +
               "</g>\n";
    }

    void DrawName(const std::string& name, double x, double top, std::vector<std::pair<double, double>>& taken) {
        constexpr std::size_t kMostCharacters = 28;
        constexpr double kGap = 8;
        const std::string shown = Shortened(name, kMostCharacters);
        const double width = kCharacterWidth * static_cast<double>(std::min(shown.size(), kMostCharacters)) + kGap;
        const double begin = std::min(x, kLeft + kRowWidth + kRight - width);
        const double end = begin + width;
        if (std::ranges::none_of(taken, [&](const auto& other) { return begin < other.second && other.first < end; })) {
            taken.emplace_back(begin, end);
            svg += SvgText(begin, top + kLabelBase, "name", shown) + "\n";
        }
    }

    // The area itself is too small to be seen among sectors.
    void DrawCcfg(double end, double top) {
        const std::string words = CcfgWords(picture.ccfg);
        const double width = kCharacterWidth * static_cast<double>(words.size()) + 8;
        const double x = std::max(end - width, kLeft), y = top + kNumberBase + 4;
        svg += "<g>" + SvgTitle(picture.ccfg == CcfgFate::None
                                    ? "The chip held no valid customer configuration area"
                                    : fmt::format("{}: the customer configuration area from {} on", words,
                                                  AddressText(picture.ccfgAddress)));
        svg += fmt::format("<path class=\"ink\" d=\"M{0} {1}V{2}\"/>", Coordinate(end - 2), Coordinate(top + kAfterTop),
                           Coordinate(y));
        svg += SvgRectangle(x, y, width, 15, "rx=\"3\" fill=\"#1b1b1b\"");
        svg += SvgText(x + width / 2, y + 11, "small middle light", words) + "</g>\n";
    }

    const FlashPicture& picture;
    std::uint32_t rowCount;
    std::string svg;
};

}  // namespace

std::string DrawFlashPicture(const FlashPicture& picture) { return Drawing(picture).Draw(); }

}  // namespace flash::host
