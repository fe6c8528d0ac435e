// What is shown, decided from the plan; how it is drawn stands beside this.
#include "host/picture/FlashPicture.h"

#include <algorithm>
#include <filesystem>
#include <string_view>

namespace flash::host {
namespace {

std::string NameOf(const Origin& origin) {
    constexpr std::string_view kSection = "section ";
    if (origin.place.starts_with(kSection)) {
        return origin.place.substr(kSection.size());
    }
    return std::filesystem::path(origin.file).filename().string();
}

bool IsContinued(const PictureSection& section, std::uint32_t address, const std::string& name) {
    return section.name == name && section.where.address + section.where.lengthBytes == address;
}

void AddSpans(std::vector<PictureSpan>& spans, const std::vector<DataRun>& runs) {
    for (const DataRun& run : runs) {
        spans.push_back({run.address, static_cast<std::uint32_t>(run.bytes.size())});
    }
}

CcfgFate FateOfCcfg(const WritePlan& plan, const PictureChip& chip) {
    if (plan.keepsCcfg) {
        return chip.isCcfgChanged ? CcfgFate::KeptAndChanged : CcfgFate::Kept;
    }
    if (plan.replacesCcfg) {
        return CcfgFate::Replaced;
    }
    return chip.isCcfgChanged ? CcfgFate::Changed : CcfgFate::Untouched;
}

SectorBefore BeforeOf(const WritePlan& plan, std::uint32_t index, const SectorSet& blankSectors) {
    const SectorPlan& sector = plan.sectors[index];
    if (blankSectors.Contains(index)) {
        return SectorBefore::Blank;
    }
    if (!plan.isCompared || sector.isDoubtful || (!sector.isWritten && !sector.isErased && !sector.isUnchanged)) {
        return SectorBefore::Data;
    }
    return sector.isUnchanged || sector.carriesErasing ? SectorBefore::Right : SectorBefore::Differs;
}

}  // namespace

std::vector<PictureSection> SectionsOf(const ProgramImage& image) {
    std::vector<PictureSection> sections;
    for (const auto& [address, segment] : image.Segments()) {
        const std::string name = NameOf(segment.origin);
        const auto length = static_cast<std::uint32_t>(segment.bytes.size());
        if (!sections.empty() && IsContinued(sections.back(), address, name)) {
            sections.back().where.lengthBytes += length;
        } else {
            sections.push_back({{address, length}, name});
        }
    }
    return sections;
}

FlashPicture MakeFlashPicture(const std::string& title, const ProgramImage& image, const WritePlan& plan,
                              const PictureChip& chip) {
    FlashPicture picture;
    picture.title = title;
    picture.geometry = plan.geometry;
    picture.sections = SectionsOf(image);
    picture.ccfg = chip.ccfg.sizeBytes == 0 ? CcfgFate::None : FateOfCcfg(plan, chip);
    picture.ccfgAddress = chip.ccfg.address;
    AddSpans(picture.fromFiles, plan.expected);
    AddSpans(picture.fromFiles, plan.alreadyRight);
    for (std::uint32_t index = 0; index < plan.geometry.sectorCount; ++index) {
        picture.sectors.push_back({FateOf(plan.sectors[index]), std::string(ReasonFor(plan, index)),
                                   BeforeOf(plan, index, chip.blankSectors), chip.ccfg.protectedSectors.Contains(index),
                                   chip.protectedAfter.Contains(index)});
    }
    return picture;
}

}  // namespace flash::host
