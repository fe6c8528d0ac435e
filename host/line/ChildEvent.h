// What a run of the program says of itself, one JSON object a line, as far as a line asks.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

namespace flash::host::line {

struct StageEvent {
    std::string stage;
    std::uint64_t doneBytes = 0, totalBytes = 0;
    bool operator==(const StageEvent&) const = default;
};

// Kinds as they are in the event.
struct AddressEvent {
    std::string kind, address;
    bool operator==(const AddressEvent&) const = default;
};

struct ResultEvent {
    bool isGood = false;
    int exitCode = 0;
    std::string text;
    bool stopsSlot = false;       // somebody must look at the chip before the slot goes on
    bool awaitsDatabase = false;  // nothing was touched: the chip can be tried again once the database is back
    bool operator==(const ResultEvent&) const = default;
};

using ChildEvent = std::variant<StageEvent, AddressEvent, ResultEvent>;

// Nothing for a line that is no event, or one of another kind.
std::optional<ChildEvent> ReadChildEvent(std::string_view line);

}  // namespace flash::host::line
