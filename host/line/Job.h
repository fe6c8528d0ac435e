// A job: what a line does to each chip, and where. How it is written is the command line's business.
#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace flash::host::line {

enum class StartMode { Immediately, Key, Command };

// One place for a chip with its probe.
struct SlotPlan {
    std::string name;
    std::string probe;  // {n} in it is the chip's running number
};

struct Job {
    std::string device;
    std::vector<std::string> files;                             // as `program` takes them
    std::vector<std::filesystem::path> paths;                   // theirs
    std::map<std::filesystem::path, std::string> pinnedHashes;  // SHA-256 in lower case
    std::vector<std::string> pinnedIdentities;                  // primary IEEE addresses; empty for any chip
    std::string database;                                       // "" for none
    std::vector<std::string> assign;                            // kinds of addresses
    std::uint64_t leaseAhead = 0;                               // addresses of each kind, for a lost database
    StartMode start = StartMode::Immediately;
    std::optional<std::uint64_t> count;   // chips, then the line ends
    std::chrono::seconds timeLimit{120};  // of one chip
    std::uint64_t badInARow = 3;          // then a slot that starts by itself stops
    std::vector<std::string> onGood;      // a command and its arguments; empty for none
    std::chrono::seconds onGoodTimeLimit{10};
    std::string operatorName, station;
    std::vector<std::string> programOptions;  // as on the command line
    std::vector<SlotPlan> slots;
};

inline constexpr std::string_view kRunningNumber = "{n}";

// The probe of the chip with that number.
std::string ProbeFor(const SlotPlan& slot, std::uint64_t number);

// The text split at blanks, as a shell does it with quotes of both kinds and without anything else that a shell does.
// Throws std::invalid_argument for a quote that is not closed.
std::vector<std::string> SplitWords(std::string_view text);

// Each {name} is what the table says. Throws std::invalid_argument for a name that the table does not have.
std::string FillIn(std::string_view text, const std::map<std::string, std::string>& values);

}  // namespace flash::host::line
