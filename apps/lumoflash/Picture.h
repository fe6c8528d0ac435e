// The picture of a load.
#pragma once

#include <atomic>
#include <filesystem>
#include <string>

#include "apps/lumoflash/Options.h"
#include "host/files/ProgramImage.h"
#include "host/session/Connection.h"

namespace flash::app {

// "LumoF2F352: a.hex, b.bin".
std::string PictureTitle(const std::string& part, const Options& options);

// For reading the chip.
struct Reading {
    host::Observer& observer;
    const std::atomic<bool>& isInterrupted;
};

// As SVG, of a chip whose flash is read for it, and in the file that `--picture` names; "" when neither that nor a
// report wants one. Throws Failure when the file cannot be written.
std::string DrawPicture(const Options& options, const host::Connection& connection, const host::ProgramImage& image,
                        const host::PlannedLoad& load, const Reading& reading);

// Nothing without a name. Throws Failure when the file cannot be written.
void SaveText(const std::filesystem::path& file, const std::string& text);

}  // namespace flash::app
