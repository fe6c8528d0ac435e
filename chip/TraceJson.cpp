// The timeline in the JSON of Chrome trace events: complete events and instants, times in microseconds.
#include <cinttypes>
#include <cstdio>

#include "chip/ChipLog.h"

namespace flash::chip {
namespace {

enum Lane : int { kLinkLane = 1, kFlashLane, kCoreLane, kBlock0Lane, kBlock1Lane, kHostLane, kSupplyLane };
constexpr std::pair<Lane, const char*> kLaneNames[] = {
    {kLinkLane, "debug link"},         {kFlashLane, "flash controller"}, {kCoreLane, "core"},
    {kBlock0Lane, "command block 0"},  {kBlock1Lane, "command block 1"}, {kHostLane, "host"},
    {kSupplyLane, "supply and faults"}};

struct Look {
    Lane lane;
    std::string name;
    const char* addressKey;  // null: not shown
    const char* valueKey;    // null: not shown
};

Look LookOf(const Event& event) {
    switch (event.kind) {
        case EventKind::TransferRead:
            return {kLinkLane, "read", "address", "bytes"};
        case EventKind::TransferWrite:
            return {kLinkLane, "write", "address", "bytes"};
        case EventKind::TransferOther:
            return {kLinkLane, event.text, nullptr, nullptr};
        case EventKind::Pause:
            return {kHostLane, "pause", nullptr, nullptr};
        case EventKind::EraseSector:
            return {kFlashLane, "erase sector", "address", nullptr};
        case EventKind::EraseBank:
            return {kFlashLane, "erase bank", nullptr, nullptr};
        case EventKind::ProgramWord:
            return {kFlashLane, "program word", "address", "word"};
        case EventKind::CommandInBlock0:
            return {kBlock0Lane, event.text, "address", "length"};
        case EventKind::CommandInBlock1:
            return {kBlock1Lane, event.text, "address", "length"};
        case EventKind::CoreRuns:
            return {kCoreLane, "runs", "address", nullptr};
        case EventKind::LockUp:
            return {kCoreLane, event.text, "address", nullptr};
        case EventKind::PowerOn:
            return {kSupplyLane, "power on", nullptr, nullptr};
        case EventKind::PowerOff:
            return {kSupplyLane, "power off", nullptr, nullptr};
        case EventKind::Reset:
            return {kSupplyLane, "reset", nullptr, nullptr};
        case EventKind::Violation:
            return {kSupplyLane, "violation: " + std::string(Name(static_cast<Violation>(event.value))), "address",
                    nullptr};
        case EventKind::Fault:
            return {kSupplyLane, "fault: " + std::string(Name(static_cast<Fault>(event.value))), "address", nullptr};
        case EventKind::Note:
            break;
    }
    return {kHostLane, event.text, nullptr, nullptr};
}

std::string Quoted(const std::string& text) {
    std::string quoted = "\"";
    for (const char character : text) {
        if (character == '"' || character == '\\') {
            quoted += '\\';
            quoted += character;
        } else if (static_cast<unsigned char>(character) < 0x20) {
            char escape[8];
            std::snprintf(escape, sizeof escape, "\\u%04x", static_cast<unsigned>(character));
            quoted += escape;
        } else {
            quoted += character;
        }
    }
    return quoted + '"';
}

std::string Microseconds(Nanoseconds time) {
    char text[32];
    std::snprintf(text, sizeof text, "%" PRId64 ".%03" PRId64, time.count() / 1000, time.count() % 1000);
    return text;
}

std::string Hexadecimal(std::uint32_t value) {
    char text[16];
    std::snprintf(text, sizeof text, "\"0x%08" PRIX32 "\"", value);
    return text;
}

std::string Arguments(const Event& event, const Look& look) {
    std::string arguments;
    if (look.addressKey != nullptr) {
        arguments += Quoted(look.addressKey) + ":" + Hexadecimal(event.address);
    }
    if (look.valueKey != nullptr) {
        const bool isWord = event.kind == EventKind::ProgramWord;
        arguments += "," + Quoted(look.valueKey) + ":";
        arguments += isWord ? Hexadecimal(event.value) : std::to_string(event.value);
    }
    return arguments;
}

std::string Line(const Event& event) {
    const Look look = LookOf(event);
    const bool isInstant = event.start == event.end;
    std::string line = "{\"name\":" + Quoted(look.name) + ",\"ph\":" + (isInstant ? "\"i\",\"s\":\"t\"" : "\"X\"");
    line += ",\"pid\":1,\"tid\":" + std::to_string(look.lane) + ",\"ts\":" + Microseconds(event.start);
    if (!isInstant) {
        line += ",\"dur\":" + Microseconds(event.end - event.start);
    }
    return line + ",\"args\":{" + Arguments(event, look) + "}}";
}

std::string LaneNameLine(Lane lane, const char* name) {
    return "{\"name\":\"thread_name\",\"ph\":\"M\",\"pid\":1,\"tid\":" + std::to_string(lane) +
           ",\"args\":{\"name\":" + Quoted(name) + "}}";
}

}  // namespace

std::string TraceJson(const std::vector<Event>& timeline) {
    std::string json = "{\"displayTimeUnit\":\"ns\",\"traceEvents\":[\n";
    json += R"({"name":"process_name","ph":"M","pid":1,"args":{"name":"virtual chip"}})";
    for (const auto& [lane, name] : kLaneNames) {
        json += ",\n" + LaneNameLine(lane, name);
    }
    for (const Event& event : timeline) {
        json += ",\n" + Line(event);
    }
    return json + "\n]}\n";
}

}  // namespace flash::chip
