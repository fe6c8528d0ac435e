// One reader for each kind of event.
#include "host/line/ChildEvent.h"

#include <nlohmann/json.hpp>

namespace flash::host::line {
namespace {

using nlohmann::json;

ChildEvent ReadResult(const json& event) {
    return ResultEvent{event.at("ok").get<bool>(), event.at("exitCode").get<int>(), event.at("text").get<std::string>(),
                       event.value("stopsSlot", false), event.value("awaitsDatabase", false)};
}

std::optional<ChildEvent> ReadEvent(const json& event) {
    const std::string kind = event.at("event").get<std::string>();
    if (kind == "phase") {
        return StageEvent{event.at("phase").get<std::string>(), event.at("doneBytes").get<std::uint64_t>(),
                          event.at("totalBytes").get<std::uint64_t>()};
    }
    if (kind == "address") {
        return AddressEvent{event.at("kind").get<std::string>(), event.at("address").get<std::string>()};
    }
    return kind == "result" ? std::optional(ReadResult(event)) : std::nullopt;
}

}  // namespace

std::optional<ChildEvent> ReadChildEvent(std::string_view line) {
    try {
        const json event = json::parse(line, nullptr, false);
        return event.is_object() ? ReadEvent(event) : std::nullopt;
    } catch (const json::exception&) {
        return std::nullopt;
    }
}

}  // namespace flash::host::line
