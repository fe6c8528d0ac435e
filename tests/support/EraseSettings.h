// The erase settings by the texts that users choose.
#pragma once

namespace flash::test {

inline constexpr char kNecessary[] = "Necessary Sectors Only";
inline constexpr char kRetain[] = "Necessary Sectors Only (Retain untouched content within sector)";
inline constexpr char kBank[] = "All Unprotected Sectors";
inline constexpr char kSpecific[] = "Specific Sectors";
inline constexpr char kNoErase[] = "Do not erase sectors (program load only)";

}  // namespace flash::test
