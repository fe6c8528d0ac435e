// Servers differ, so what is not understood in a stop reply is passed over.
#include "host/gdb/Replies.h"

#include <fmt/format.h>

#include "host/gdb/Hex.h"

namespace flash::host::gdb {
namespace {

constexpr std::size_t kSignalDigits = 2;

// Calls `take(name, value)` for each of "name:value;name:value".
template <typename Take>
void ForEachPair(std::string_view text, char between, const Take& take) {
    while (!text.empty()) {
        const std::string_view pair = text.substr(0, text.find(';'));
        text.remove_prefix(std::min(text.size(), pair.size() + 1));
        const std::size_t end = std::min(pair.find(between), pair.size());
        take(pair.substr(0, end), pair.substr(std::min(end + 1, pair.size())));
    }
}

void TakeDetails(std::string_view text, StopReply& reply) {
    ForEachPair(text, ':', [&](std::string_view name, std::string_view value) {
        const auto number = NumberOf(name);
        const auto bytes = BytesOf(value);
        if (number && bytes && *number <= 0xFFFF) {
            reply.registers[static_cast<std::uint32_t>(*number)] = *bytes;
        } else {
            reply.reasons.emplace(name, value);
        }
    });
}

}  // namespace

std::optional<StopReply> ParseStopReply(std::string_view payload) {
    if (payload.size() < 1 + kSignalDigits) {
        return std::nullopt;
    }
    const auto signal = NumberOf(payload.substr(1, kSignalDigits));
    if (!signal) {
        return std::nullopt;
    }
    StopReply reply;
    reply.signal = static_cast<unsigned>(*signal);
    switch (payload.front()) {
        case 'T':
            TakeDetails(payload.substr(1 + kSignalDigits), reply);
            return reply;
        case 'S':
            return reply;
        case 'W':
        case 'X':
            reply.kind = StopReply::Kind::Gone;
            return reply;
        default:
            return std::nullopt;
    }
}

std::map<std::string, std::string> ParseFeatures(std::string_view payload) {
    std::map<std::string, std::string> features;
    ForEachPair(payload, '=', [&](std::string_view name, std::string_view value) {
        if (name.ends_with('+')) {
            features.emplace(name.substr(0, name.size() - 1), "+");
        } else if (!name.ends_with('-') && !name.ends_with('?')) {
            features.emplace(name, value);
        }
    });
    return features;
}

std::optional<std::string> ErrorOf(std::string_view payload) {
    if (payload.starts_with("E.")) {
        return std::string(payload.substr(2));
    }
    if (payload.size() == 3 && payload.front() == 'E' && NumberOf(payload.substr(1))) {
        return fmt::format("error {}", payload.substr(1));
    }
    return std::nullopt;
}

}  // namespace flash::host::gdb
