// A table from a packet's beginning to its reader. The order matters where one name begins with another.
#include "host/gdb/Requests.h"

#include <limits>
#include <utility>

#include "host/gdb/Framing.h"
#include "host/gdb/Hex.h"

namespace flash::host::gdb {
namespace {

using request::Malformed;

// The arguments of a packet, taken from the front.
class Arguments {
public:
    explicit Arguments(std::string_view text) : rest(text) {}

    bool TakeIf(char character) {
        if (rest.empty() || rest.front() != character) {
            return false;
        }
        rest.remove_prefix(1);
        return true;
    }

    // Everything before `separator`, which goes, too; without one, everything.
    std::string_view TakeUntil(char separator) {
        const std::size_t end = rest.find(separator);
        const std::string_view taken = rest.substr(0, end);
        rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + 1);
        return taken;
    }

    // A 32-bit number before `separator`, or before the end when that is allowed by `separator` 0.
    std::optional<std::uint32_t> TakeNumber(char separator) {
        if (separator != '\0' && rest.find(separator) == std::string_view::npos) {
            return std::nullopt;
        }
        const auto number = NumberOf(separator == '\0' ? std::exchange(rest, {}) : TakeUntil(separator));
        if (!number || *number > std::numeric_limits<std::uint32_t>::max()) {
            return std::nullopt;
        }
        return static_cast<std::uint32_t>(*number);
    }

    std::optional<AddressRange> TakeRange(char separator) {
        const auto address = TakeNumber(',');
        const auto length = address ? TakeNumber(separator) : std::nullopt;
        return length ? std::optional(AddressRange{*address, *length}) : std::nullopt;
    }

    std::string_view Rest() const { return rest; }

private:
    std::string_view rest;
};

Request ParseSupported(std::string_view text) {
    request::QuerySupported query;
    Arguments arguments(text);
    arguments.TakeIf(':');
    while (!arguments.Rest().empty()) {
        query.features.emplace_back(arguments.TakeUntil(';'));
    }
    return query;
}

Request ParseReadRegister(std::string_view text) {
    const auto number = Arguments(text).TakeNumber('\0');
    return number ? Request(request::ReadRegister{*number}) : Malformed{"a register's number"};
}

Request ParseWriteRegister(std::string_view text) {
    Arguments arguments(text);
    const auto number = arguments.TakeNumber('=');
    auto bytes = number ? BytesOf(arguments.Rest()) : std::nullopt;
    return bytes ? Request(request::WriteRegister{*number, std::move(*bytes)}) : Malformed{"a register and its value"};
}

Request ParseWriteRegisters(std::string_view text) {
    auto bytes = BytesOf(text);
    return bytes ? Request(request::WriteRegisters{std::move(*bytes)}) : Malformed{"the registers' values"};
}

Request ParseReadMemory(std::string_view text) {
    const auto range = Arguments(text).TakeRange('\0');
    return range ? Request(request::ReadMemory{*range}) : Malformed{"an address and a length"};
}

Request ParseChecksum(std::string_view text) {
    const auto range = Arguments(text).TakeRange('\0');
    return range ? Request(request::Checksum{*range}) : Malformed{"an address and a length"};
}

Request WriteOf(const std::optional<AddressRange>& range, std::optional<std::vector<std::uint8_t>> bytes) {
    if (!range || !bytes || bytes->size() != range->lengthBytes) {
        return Malformed{"an address, a length and as many bytes"};
    }
    return request::WriteMemory{range->address, std::move(*bytes)};
}

Request ParseWriteHex(std::string_view text) {
    Arguments arguments(text);
    const auto range = arguments.TakeRange(':');
    return WriteOf(range, BytesOf(arguments.Rest()));
}

Request ParseWriteBinary(std::string_view text) {
    Arguments arguments(text);
    const auto range = arguments.TakeRange(':');
    return WriteOf(range, Unescape(arguments.Rest()));
}

Request ParseReadObject(std::string_view text) {
    Arguments arguments(text);
    const std::string object(arguments.TakeUntil(':'));
    const bool isRead = arguments.TakeUntil(':') == "read";
    const std::string annex(arguments.TakeUntil(':'));
    const auto range = arguments.TakeRange('\0');
    if (!isRead) {
        return request::Unknown{};
    }
    return range ? Request(request::ReadObject{object, annex, *range})
                 : Malformed{"an object and the wanted part of it"};
}

template <request::Resumption how>
Request ParseResume(std::string_view text) {
    if (text.empty()) {
        return request::Resume{how, std::nullopt};
    }
    const auto address = Arguments(text).TakeNumber('\0');
    return address ? Request(request::Resume{how, address}) : Malformed{"an address"};
}

// The signal goes: nothing on the target takes it.
template <request::Resumption how>
Request ParseResumeWithSignal(std::string_view text) {
    Arguments arguments(text);
    if (!NumberOf(arguments.TakeUntil(';'))) {
        return Malformed{"a signal"};
    }
    return ParseResume<how>(arguments.Rest());
}

// "vCont;s:1;c": there is one thread, so the first action is its own.
Request ParseActions(std::string_view text) {
    switch (text.empty() ? '\0' : text.front()) {
        case 'c':
        case 'C':
            return request::Resume{request::Resumption::Continue, std::nullopt};
        case 's':
        case 'S':
            return request::Resume{request::Resumption::Step, std::nullopt};
        case 't':
            return request::Stop{};
        default:
            return Malformed{"an action of \"vCont?\""};
    }
}

template <bool isInserted>
Request ParseBreakpoint(std::string_view text) {
    Arguments arguments(text);
    const auto kind = arguments.TakeNumber(',');
    const auto address = kind ? arguments.TakeNumber(',') : std::nullopt;
    if (!address || *kind > static_cast<std::uint32_t>(request::BreakpointKind::AccessWatch)) {
        return Malformed{"a breakpoint's kind and address"};
    }
    return request::ChangeBreakpoint{isInserted, static_cast<request::BreakpointKind>(*kind), *address};
}

Request ParseEraseFlash(std::string_view text) {
    const auto range = Arguments(text).TakeRange('\0');
    return range ? Request(request::EraseFlash{*range}) : Malformed{"an address and a length"};
}

Request ParseWriteFlash(std::string_view text) {
    Arguments arguments(text);
    const auto address = arguments.TakeNumber(':');
    auto bytes = address ? Unescape(arguments.Rest()) : std::nullopt;
    return bytes ? Request(request::WriteFlash{*address, std::move(*bytes)}) : Malformed{"an address and bytes"};
}

Request ParseMonitor(std::string_view text) {
    const auto bytes = BytesOf(text);
    return bytes ? Request(request::Monitor{std::string(bytes->begin(), bytes->end())}) : Malformed{"a command in hex"};
}

template <typename Kind>
Request Plain(std::string_view) {
    return Kind{};
}

Request ParseKill(std::string_view) { return request::Kill{true}; }
Request ParseKillSilently(std::string_view) { return request::Kill{false}; }
Request ParseFirstThreads(std::string_view) { return request::AskThreads{true}; }
Request ParseNextThreads(std::string_view) { return request::AskThreads{false}; }

enum class Match { Whole, Beginning };

struct Rule {
    std::string_view name;
    Match match;
    Request (*parse)(std::string_view arguments);
};

constexpr Rule kRules[] = {
    {"qSupported", Match::Beginning, ParseSupported},
    {"QStartNoAckMode", Match::Whole, Plain<request::StartNoAckMode>},
    {"qXfer:", Match::Beginning, ParseReadObject},
    {"qRcmd,", Match::Beginning, ParseMonitor},
    {"qCRC:", Match::Beginning, ParseChecksum},
    {"qfThreadInfo", Match::Whole, ParseFirstThreads},
    {"qsThreadInfo", Match::Whole, ParseNextThreads},
    {"qAttached", Match::Beginning, Plain<request::AskWhetherAttached>},
    {"qC", Match::Whole, Plain<request::AskCurrentThread>},
    {"vFlashErase:", Match::Beginning, ParseEraseFlash},
    {"vFlashWrite:", Match::Beginning, ParseWriteFlash},
    {"vFlashDone", Match::Whole, Plain<request::FinishFlash>},
    {"vCont?", Match::Whole, Plain<request::AskResumeActions>},
    {"vCont;", Match::Beginning, ParseActions},
    {"vRun;", Match::Beginning, Plain<request::Run>},
    {"vKill;", Match::Beginning, ParseKill},
    {"!", Match::Whole, Plain<request::EnableExtendedMode>},
    {"?", Match::Whole, Plain<request::AskWhyStopped>},
    {"g", Match::Whole, Plain<request::ReadRegisters>},
    {"G", Match::Beginning, ParseWriteRegisters},
    {"p", Match::Beginning, ParseReadRegister},
    {"P", Match::Beginning, ParseWriteRegister},
    {"m", Match::Beginning, ParseReadMemory},
    {"M", Match::Beginning, ParseWriteHex},
    {"X", Match::Beginning, ParseWriteBinary},
    {"c", Match::Beginning, ParseResume<request::Resumption::Continue>},
    {"s", Match::Beginning, ParseResume<request::Resumption::Step>},
    {"C", Match::Beginning, ParseResumeWithSignal<request::Resumption::Continue>},
    {"S", Match::Beginning, ParseResumeWithSignal<request::Resumption::Step>},
    {"Z", Match::Beginning, ParseBreakpoint<true>},
    {"z", Match::Beginning, ParseBreakpoint<false>},
    {"H", Match::Beginning, Plain<request::SelectThread>},
    {"T", Match::Beginning, Plain<request::AskThreadAlive>},
    {"k", Match::Whole, ParseKillSilently},
    {"R", Match::Beginning, Plain<request::Restart>},
    {"D", Match::Beginning, Plain<request::Detach>},
};

}  // namespace

Request ParseRequest(std::string_view payload) {
    for (const Rule& rule : kRules) {
        const bool isMatch = rule.match == Match::Whole ? payload == rule.name : payload.starts_with(rule.name);
        if (isMatch) {
            return rule.parse(payload.substr(rule.name.size()));
        }
    }
    return request::Unknown{};
}

bool IsPartOfLoad(const Request& request) {
    return std::holds_alternative<request::EraseFlash>(request) ||
           std::holds_alternative<request::WriteFlash>(request) ||
           std::holds_alternative<request::FinishFlash>(request);
}

}  // namespace flash::host::gdb
