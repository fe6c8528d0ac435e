// The flash controller of a virtual chip in words, as device descriptions have them (docs/device-descriptions.md).
#pragma once

#include <string_view>

#include "chip/ChipSettings.h"

namespace flash::host {

// Throws std::invalid_argument with a text that says which word is none. No words are the usual controller.
chip::ControllerKind ReadController(std::string_view text);

}  // namespace flash::host
