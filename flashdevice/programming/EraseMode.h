// What is erased before data is programmed, as the user's erase setting names it.
#pragma once

#include <cstdint>
#include <string_view>

namespace flash {

enum class EraseMode : std::uint32_t {
    NoErase = 0,
    NecessarySectors = 1,
    NecessarySectorsRetain = 2,
    AllUnprotectedSectors = 3,
    SpecificSectors = 4,
};

inline constexpr char kEraseSettingKey[] = "FlashEraseSetting";
inline constexpr char kEraseAllUnprotected[] = "All Unprotected Sectors";
inline constexpr char kEraseNecessary[] = "Necessary Sectors Only";

// By the first known text that the setting contains. Any other text, "Necessary Sectors Only" included, erases the
// necessary sectors.
EraseMode ClassifyEraseSetting(std::string_view setting);

}  // namespace flash
