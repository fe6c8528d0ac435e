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

CcfgFate FateOfCcfg(const WritePlan& plan, const CcfgInfo& ccfg) {
    if (ccfg.sizeBytes == 0) {
        return CcfgFate::None;
    }
    return plan.keepsCcfg ? CcfgFate::Kept : plan.replacesCcfg ? CcfgFate::Replaced : CcfgFate::Untouched;
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
                              const CcfgInfo& ccfg) {
    FlashPicture picture;
    picture.title = title;
    picture.geometry = plan.geometry;
    picture.sections = SectionsOf(image);
    picture.ccfg = FateOfCcfg(plan, ccfg);
    picture.ccfgAddress = ccfg.address;
    AddSpans(picture.fromFiles, plan.expected);
    AddSpans(picture.fromFiles, plan.alreadyRight);
    for (std::uint32_t index = 0; index < plan.geometry.sectorCount; ++index) {
        const SectorPlan& sector = plan.sectors[index];
        picture.sectors.push_back({FateOf(sector), std::string(ReasonFor(plan, index)),
                                   ccfg.protectedSectors.Contains(index),
                                   plan.isCompared && (sector.isWritten || sector.isErased || sector.isUnchanged)});
    }
    return picture;
}

}  // namespace flash::host
