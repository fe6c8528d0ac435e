// FLASH_SOAK=1 in the environment asks for the long form of the tests that have one. `scripts/soak` and `scripts/power`
// do.
#pragma once

#include <cstdlib>
#include <string_view>

namespace flash::test {

inline bool IsLongForm() {
    const char* setting = std::getenv("FLASH_SOAK");
    return setting != nullptr && std::string_view(setting) == "1";
}

}  // namespace flash::test
