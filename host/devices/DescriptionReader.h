// One device description, from its XML file.
#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include "host/devices/DeviceDescription.h"

namespace flash::host {

// Everything is checked. Throws Failure (BadInput), the text naming file and line.
DeviceDescription ReadDescription(const std::filesystem::path& file);

// "ADDRESS:LENGTH", both hexadecimal with or without the mark.
std::optional<FieldLocation> ParseLocation(const std::string& value);

}  // namespace flash::host
