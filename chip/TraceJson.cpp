// The timeline in the JSON of Chrome trace events: complete events and instants, times in microseconds.
#include <cinttypes>
#include <cstdio>
#include <utility>

#include "chip/ChipLog.h"

namespace flash::chip {
namespace {

enum class Lane : std::uint8_t { Link = 1, Flash, Core, UserFirst, UserSecond, Host, Supply };

std::string NumberOf(Lane lane) { return std::to_string(static_cast<int>(lane)); }

struct Look {
    Lane lane;
    std::string name;
    const char* addressKey;  // null: not shown
    const char* valueKey;    // null: not shown
};

Look LookOf(const Event& event) {
    switch (event.kind) {
        case EventKind::TransferRead:
            return {Lane::Link, "read", "address", "bytes"};
        case EventKind::TransferWrite:
            return {Lane::Link, "write", "address", "bytes"};
        case EventKind::TransferOther:
            return {Lane::Link, event.text, nullptr, nullptr};
        case EventKind::Pause:
            return {Lane::Host, "pause", nullptr, nullptr};
        case EventKind::EraseSector:
            return {Lane::Flash, "erase sector", "address", nullptr};
        case EventKind::EraseBank:
            return {Lane::Flash, "erase bank", nullptr, nullptr};
        case EventKind::ProgramWord:
            return {Lane::Flash, "program word", "address", "word"};
        case EventKind::InFirstLane:
            return {Lane::UserFirst, event.text, "address", "length"};
        case EventKind::InSecondLane:
            return {Lane::UserSecond, event.text, "address", "length"};
        case EventKind::CoreRuns:
            return {Lane::Core, "runs", "address", nullptr};
        case EventKind::LockUp:
            return {Lane::Core, event.text, "address", nullptr};
        case EventKind::PowerOn:
            return {Lane::Supply, "power on", nullptr, nullptr};
        case EventKind::PowerOff:
            return {Lane::Supply, "power off", nullptr, nullptr};
        case EventKind::Reset:
            return {Lane::Supply, "reset", nullptr, nullptr};
        case EventKind::Violation:
            return {Lane::Supply, "violation: " + std::string(Name(static_cast<Violation>(event.value))), "address",
                    nullptr};
        case EventKind::Fault:
            return {Lane::Supply, "fault: " + std::string(Name(static_cast<Fault>(event.value))), "address", nullptr};
        case EventKind::Note:
            break;
    }
    return {Lane::Host, event.text, nullptr, nullptr};
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
    line += ",\"pid\":1,\"tid\":" + NumberOf(look.lane) + ",\"ts\":" + Microseconds(event.start);
    if (!isInstant) {
        line += ",\"dur\":" + Microseconds(event.end - event.start);
    }
    return line + ",\"args\":{" + Arguments(event, look) + "}}";
}

std::string LaneNameLine(Lane lane, const std::string& name) {
    return "{\"name\":\"thread_name\",\"ph\":\"M\",\"pid\":1,\"tid\":" + NumberOf(lane) +
           ",\"args\":{\"name\":" + Quoted(name) + "}}";
}

// What has been done so far, as curves: a point behind each transfer, and one behind each run of words.
class Curves {
public:
    // The points that come before the event is over, each with a comma and a new line in front.
    std::string PointsUpTo(const Event& event) {
        std::string points = event.kind == EventKind::ProgramWord ? "" : WordsPoint();
        switch (event.kind) {
            case EventKind::TransferRead:
                bytesRead += event.value;
                points += BytesPoint(event.end);
                break;
            case EventKind::TransferWrite:
                bytesWritten += event.value;
                points += BytesPoint(event.end);
                break;
            case EventKind::ProgramWord:
                ++words;
                lastWord = event.end;
                isWordPending = true;
                break;
            default:
                break;
        }
        return points;
    }

    std::string WordsPoint() {
        return std::exchange(isWordPending, false)
                   ? Point("words programmed", lastWord, "\"words\":" + std::to_string(words))
                   : "";
    }

private:
    std::string BytesPoint(Nanoseconds at) const {
        return Point("bytes on the link", at,
                     "\"read\":" + std::to_string(bytesRead) + ",\"written\":" + std::to_string(bytesWritten));
    }

    static std::string Point(const char* name, Nanoseconds at, const std::string& values) {
        return ",\n{\"name\":" + Quoted(name) + R"(,"ph":"C","pid":1,"ts":)" + Microseconds(at) + ",\"args\":{" +
               values + "}}";
    }

    std::uint64_t bytesRead = 0, bytesWritten = 0, words = 0;
    Nanoseconds lastWord{};
    bool isWordPending = false;
};

}  // namespace

std::string TraceJson(const ChipLog& log) {
    const std::pair<Lane, std::string> lanes[] = {
        {Lane::Link, "debug link"},          {Lane::Flash, "flash controller"},    {Lane::Core, "core"},
        {Lane::UserFirst, log.laneNames[0]}, {Lane::UserSecond, log.laneNames[1]}, {Lane::Host, "host"},
        {Lane::Supply, "supply and faults"}};
    std::string json = "{\"displayTimeUnit\":\"ns\",\"traceEvents\":[\n";
    json += R"({"name":"process_name","ph":"M","pid":1,"args":{"name":"virtual chip"}})";
    for (const auto& [lane, name] : lanes) {
        json += name.empty() ? "" : ",\n" + LaneNameLine(lane, name);
    }
    Curves curves;
    for (const Event& event : log.timeline) {
        json += curves.PointsUpTo(event);
        json += ",\n" + Line(event);
    }
    return json + curves.WordsPoint() + "\n]}\n";
}

}  // namespace flash::chip
