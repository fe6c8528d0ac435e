#include "apps/lumoflash/Picture.h"

#include <algorithm>
#include <span>

#include "host/ccfg/Ccfg.h"
#include "host/files/FileContent.h"
#include "host/picture/FlashPicture.h"
#include "host/plan/CcfgLoss.h"

namespace flash::app {
namespace {

host::SectorSet BlankSectors(const host::Connection& connection, const Reading& reading) {
    const host::FlashGeometry& geometry = connection.GetSession().Layout().geometry;
    host::ChipReader reader(connection.GetProbe(), reading.observer, reading.isInterrupted);
    host::SectorSet blank(geometry.sectorCount);
    for (std::uint32_t sector = 0; sector < geometry.sectorCount; ++sector) {
        host::RequireNotInterrupted(reading.isInterrupted);
        const auto bytes = reader.Bytes(sector * geometry.sectorSizeBytes, geometry.sectorSizeBytes);
        if (std::ranges::all_of(bytes, [](std::uint8_t byte) { return byte == host::kErasedByte; })) {
            blank.Add(sector);
        }
    }
    return blank;
}

}  // namespace

std::string PictureTitle(const std::string& part, const Options& options) {
    std::string title = part + ":";
    for (const host::ProgramSource& file : options.files) {
        title += title.back() == ':' ? " " : ", ";
        title += file.IsStandardInput() ? "standard input" : file.path.filename().string();
    }
    return title;
}

std::string DrawPicture(const Options& options, const host::Connection& connection, const host::ProgramImage& image,
                        const host::PlannedLoad& load, const Reading& reading) {
    if (options.pictureFile.empty() && options.reportFile.empty()) {
        return "";
    }
    const host::CcfgLayout& layout = connection.GetSession().Layout();
    const host::ClosingChanges& closing = load.options.closing;
    const host::PictureChip chip{
        host::DecodeCcfg(load.before, layout), BlankSectors(connection, reading),
        host::ProtectedAfter(load.plan, closing, load.before, layout),
        closing.ble || closing.ieee || closing.protect || closing.disableBootloader || closing.disableDebug};
    const std::string svg = host::DrawFlashPicture(
        host::MakeFlashPicture(PictureTitle(connection.PartName(), options), image, load.plan, chip));
    SaveText(options.pictureFile, svg);
    return svg;
}

void SaveText(const std::filesystem::path& file, const std::string& text) {
    if (!file.empty()) {
        host::SaveFile(file, std::span(reinterpret_cast<const std::uint8_t*>(text.data()), text.size()));
    }
}

}  // namespace flash::app
