// Keys of the host's programming options that several files read.
#pragma once

namespace flash {

inline constexpr char kCrcVerify[] = "CrcVerify";

}  // namespace flash
