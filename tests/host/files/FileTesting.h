// What the tests of program files share.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "host/files/ProgramImage.h"

namespace flash::host {

// The text of the `ProgramFileError` that `work` ends with, empty when it succeeds.
template <typename Work>
std::string ErrorOf(Work work) {
    try {
        work();
        return "";
    } catch (const ProgramFileError& error) {
        return error.what();
    }
}

inline std::span<const std::uint8_t> AsBytes(std::string_view text) {
    return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

}  // namespace flash::host
