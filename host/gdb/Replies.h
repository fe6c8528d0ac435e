// What a server answers, as a client reads it.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace flash::host::gdb {

// Why the target stands.
struct StopReply {
    enum class Kind { Stopped, Gone };
    Kind kind = Kind::Stopped;
    unsigned signal = 0;                                           // or the exit code
    std::map<std::uint32_t, std::vector<std::uint8_t>> registers;  // that came along, by number, in target byte order
    std::map<std::string, std::string> reasons;                    // "hwbreak", "thread", …
};

inline constexpr unsigned kSignalInterrupt = 2;
inline constexpr unsigned kSignalTrap = 5;

// Null for what is no stop reply.
std::optional<StopReply> ParseStopReply(std::string_view payload);

// The answer to "qSupported": values of features, "+" for those that are just there.
std::map<std::string, std::string> ParseFeatures(std::string_view payload);

// The text of "E01" or "E.some words", null for any other answer. To be asked only where data cannot look like it.
std::optional<std::string> ErrorOf(std::string_view payload);

}  // namespace flash::host::gdb
