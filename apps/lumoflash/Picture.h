// The picture of a load.
#pragma once

#include <filesystem>
#include <string>

#include "apps/lumoflash/Options.h"
#include "host/files/ProgramImage.h"
#include "host/session/Session.h"

namespace flash::app {

// "LumoF2F352: a.hex, b.bin".
std::string PictureTitle(const std::string& part, const Options& options);

// As SVG, and in the file that `--picture` names; "" when neither that nor a report wants one. Throws Failure when the
// file cannot be written.
std::string DrawPicture(const Options& options, const std::string& part, const host::ProgramImage& image,
                        const host::PlannedLoad& load, const host::CcfgLayout& layout);

// Nothing without a name. Throws Failure when the file cannot be written.
void SaveText(const std::filesystem::path& file, const std::string& text);

}  // namespace flash::app
