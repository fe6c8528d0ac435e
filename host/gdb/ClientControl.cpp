// Registers, running, breakpoints, the server's own commands.
#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <utility>

#include "host/Numbers.h"
#include "host/Words.h"
#include "host/gdb/Client.h"
#include "host/gdb/Hex.h"

namespace flash::host::gdb {
namespace {

constexpr std::size_t kWordBytes = 4;
constexpr std::size_t kMostOutputBytes = std::size_t{1} << 16;
constexpr const char* kNoSuchCall = "F-1,58";  // of the host, for a program on the target that asks it for a file

// Servers give a register of one bit a byte of its own, or a word.
RegisterPlace Require(const RegisterLayout& layout, const std::string& name) {
    const auto place = layout.Find(name);
    if (!place || place->lengthBytes > kWordBytes) {
        throw ProbeError(fmt::format("The server's target has no register \"{}\" of at most 32 bits", name));
    }
    return *place;
}

std::uint32_t ValueOf(std::span<const std::uint8_t> bytes) {
    std::array<std::uint8_t, kWordBytes> word{};
    std::ranges::copy(bytes, word.begin());
    return LittleEndian(word);
}

std::span<std::uint8_t> PartOf(std::vector<std::uint8_t>& all, std::size_t offset, RegisterPlace place,
                               const std::string& attempt) {
    if (offset + place.lengthBytes > all.size()) {
        throw ProbeError(
            fmt::format("Cannot {}: the server sends only {} of registers", attempt, Counted(all.size(), "byte")));
    }
    return std::span(all).subspan(offset, place.lengthBytes);
}

}  // namespace

// ---- Registers

std::vector<std::string> Client::RegisterNames() const {
    std::vector<std::string> names;
    for (const auto& [name, place] : layout.All()) {
        names.push_back(name);
    }
    return names;
}

std::uint32_t Client::ReadRegister(const std::string& name) {
    const RegisterPlace place = Require(layout, name);
    const std::string attempt = fmt::format("read the register {}", name);
    if (hasSingleRegisters) {
        const std::string reply = Exchange(fmt::format("p{:x}", place.number), attempt);
        if (const auto bytes = BytesOf(reply); bytes && bytes->size() == place.lengthBytes) {
            return ValueOf(*bytes);
        }
        if (!reply.empty()) {
            Refuse(attempt, reply);
        }
        hasSingleRegisters = false;
    }
    std::vector<std::uint8_t> all = ReadAllRegisters();
    return ValueOf(PartOf(all, layout.OffsetOf(place), place, attempt));
}

void Client::WriteRegister(const std::string& name, std::uint32_t value) {
    const RegisterPlace place = Require(layout, name);
    const std::string attempt = fmt::format("write the register {}", name);
    const std::array<std::uint8_t, kWordBytes> word = LittleEndianBytes(value);
    const auto bytes = std::span(word).first(place.lengthBytes);
    if (hasSingleRegisters) {
        const std::string reply = Exchange(fmt::format("P{:x}={}", place.number, HexOf(bytes)), attempt);
        if (!reply.empty()) {
            RequireOk(reply, attempt);
            return;
        }
        hasSingleRegisters = false;
    }
    std::vector<std::uint8_t> all = ReadAllRegisters();
    std::ranges::copy(bytes, PartOf(all, layout.OffsetOf(place), place, attempt).begin());
    RequireOk(Exchange("G" + HexOf(all), attempt), attempt);
}

std::vector<std::uint8_t> Client::ReadAllRegisters() {
    std::string reply = Exchange("g", "read the registers");
    std::replace(reply.begin(), reply.end(), 'x', '0');  // a register that the server does not know
    const auto bytes = BytesOf(reply);
    if (!bytes || bytes->empty()) {
        Refuse("read the registers", reply);
    }
    return *bytes;
}

// ---- Running

void Client::Continue() {
    Talk([&] { channel.Send(hasActions ? "vCont;c" : "c"); });
    isResumed = true;
}

void Client::Step() {
    Talk([&] { channel.Send(hasActions ? "vCont;s" : "s"); });
    isResumed = true;
}

std::optional<StopReply> Client::AwaitStop(std::chrono::nanoseconds bound) {
    return Talk([&]() -> std::optional<StopReply> {
        if (earlyStop) {
            isResumed = false;
            return std::exchange(earlyStop, std::nullopt);
        }
        const std::chrono::nanoseconds end = clock.Now() + bound;
        while (const auto payload = NextPacket(end)) {
            if (payload->starts_with('F')) {
                channel.Send(kNoSuchCall);
                continue;
            }
            if (const auto error = ErrorOf(*payload)) {
                throw ProbeError(fmt::format("Cannot run the target: the server says \"{}\"", *error));
            }
            const auto reply = ParseStopReply(*payload);
            if (reply && reply->kind == StopReply::Kind::Gone) {
                throw ProbeError("The server says that its target has ended");
            }
            if (reply) {
                isResumed = false;
                return reply;
            }
        }
        return std::nullopt;
    });
}

StopReply Client::Interrupt() {
    Talk([&] { channel.SendInterrupt(); });
    auto reply = AwaitStop(timeout);
    if (!reply) {
        Talk([&] { Lose("the target does not stop"); });
    }
    return *reply;
}

std::optional<std::uint32_t> Client::ProgramCounterIn(const StopReply& reply) const {
    const auto place = layout.Find("pc");
    const auto found = place ? reply.registers.find(place->number) : reply.registers.end();
    if (found == reply.registers.end() || found->second.size() != kWordBytes) {
        return std::nullopt;
    }
    return LittleEndian(found->second);
}

// ---- Breakpoints and commands

bool Client::InsertBreakpoint(BreakpointKind kind, std::uint32_t address) {
    return Exchange(fmt::format("Z{},{:x},2", static_cast<int>(kind), address), "set a breakpoint") == "OK";
}

void Client::RemoveBreakpoint(BreakpointKind kind, std::uint32_t address) {
    RequireOk(Exchange(fmt::format("z{},{:x},2", static_cast<int>(kind), address), "clear a breakpoint"),
              "clear a breakpoint");
}

Client::MonitorAnswer Client::Monitor(const std::string& command) {
    return Talk([&] {
        channel.Send("qRcmd," + HexOf(command));
        MonitorAnswer answer{false, ""};
        const std::chrono::nanoseconds end = clock.Now() + timeout;
        while (const auto payload = NextPacket(end)) {
            if (*payload == "OK" || payload->empty() || ErrorOf(*payload)) {
                answer.isSuccess = *payload == "OK";
                answer.output += payload->starts_with("E.") ? payload->substr(2) : "";
                return answer;
            }
            if (ParseStopReply(*payload)) {
                continue;
            }
            // Some send the text with an "O" and an OK behind it, some the text alone.
            const bool isLast = payload->front() != 'O';
            const auto text = BytesOf(std::string_view(*payload).substr(isLast ? 0 : 1));
            if (text && answer.output.size() < kMostOutputBytes) {
                answer.output.append(text->begin(), text->end());
            }
            if (isLast) {
                answer.isSuccess = true;
                return answer;
            }
        }
        Lose(fmt::format("no answer to the command \"{}\"", command));
    });
}

}  // namespace flash::host::gdb
