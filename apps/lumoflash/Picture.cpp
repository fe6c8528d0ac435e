#include "apps/lumoflash/Picture.h"

#include <span>

#include "host/ccfg/Ccfg.h"
#include "host/files/FileContent.h"
#include "host/picture/FlashPicture.h"

namespace flash::app {

std::string PictureTitle(const std::string& part, const Options& options) {
    std::string title = part + ":";
    for (const host::ProgramSource& file : options.files) {
        title += title.back() == ':' ? " " : ", ";
        title += file.IsStandardInput() ? "standard input" : file.path.filename().string();
    }
    return title;
}

std::string DrawPicture(const Options& options, const std::string& part, const host::ProgramImage& image,
                        const host::PlannedLoad& load, const host::CcfgLayout& layout) {
    if (options.pictureFile.empty() && options.reportFile.empty()) {
        return "";
    }
    const std::string svg = host::DrawFlashPicture(
        host::MakeFlashPicture(PictureTitle(part, options), image, load.plan, host::DecodeCcfg(load.before, layout)));
    SaveText(options.pictureFile, svg);
    return svg;
}

void SaveText(const std::filesystem::path& file, const std::string& text) {
    if (!file.empty()) {
        host::SaveFile(file, std::span(reinterpret_cast<const std::uint8_t*>(text.data()), text.size()));
    }
}

}  // namespace flash::app
