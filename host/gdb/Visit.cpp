// Greeting, registers, running; and what ends a stay.
#include "host/gdb/Visit.h"

#include <fmt/format.h>

#include <algorithm>

#include "host/gdb/Hex.h"
#include "host/gdb/ServerDocuments.h"

namespace flash::host::gdb {
namespace {

using std::chrono::milliseconds;

constexpr std::size_t kFrameBytes = 4;
constexpr std::size_t kWordBytes = 4;
constexpr milliseconds kIdleSlice{100};  // after which the server looks whether it must end
constexpr milliseconds kRunSlice{20};    // after which it looks whether the client wants a stop
constexpr milliseconds kSignInterval{500};
constexpr std::size_t kMostWaiting = 16;
constexpr std::uint32_t kProgramCounter = 15;
constexpr std::uint32_t kStatusRegister = 25;  // what the description calls it; the rest counts from 0

std::vector<std::uint8_t> LittleEndian(std::uint32_t word) {
    return {static_cast<std::uint8_t>(word), static_cast<std::uint8_t>(word >> 8),
            static_cast<std::uint8_t>(word >> 16), static_cast<std::uint8_t>(word >> 24)};
}

std::uint32_t WordOf(std::span<const std::uint8_t> bytes) {
    return bytes[0] | std::uint32_t{bytes[1]} << 8 | std::uint32_t{bytes[2]} << 16 | std::uint32_t{bytes[3]} << 24;
}

std::optional<std::uint32_t> IndexOf(std::uint32_t number) {
    if (number == kStatusRegister) {
        return kCoreRegisterCount - 1;
    }
    return number + 1 < kCoreRegisterCount ? std::optional(number) : std::nullopt;
}

}  // namespace

void Server::Serve(ByteStream& stream) { Visit(*this, stream).Stay(); }

Server::Visit::Visit(Server& visitedServer, ByteStream& stream)
    : server(visitedServer),
      chip(server.chip),
      clock(server.clock),
      // An announced packet is counted with its frame; escapes are part of it.
      channel(stream, clock, server.options.packetBytes, RunLength::Keep) {}

void Server::Visit::Stay() {
    try {
        while (!isOver && !server.mustEnd) {
            if (!waiting.empty()) {
                const Frame frame = std::move(waiting.front());
                waiting.pop_front();
                Take(frame);
            } else if (const auto frame = channel.Receive(kIdleSlice)) {
                Take(*frame);
            }
        }
    } catch (const StreamError& error) {
        server.options.say(fmt::format("The client is gone: {}", error.what()));
    }
    GiveLoadUp();
    RemoveBreakpoints();
}

void Server::Visit::Take(const Frame& frame) {
    switch (frame.kind) {
        case FrameKind::Packet:
            break;
        case FrameKind::Stray:
        case FrameKind::Notification:
            // A web page can make a browser send a packet in the midst of other text.
            server.options.say("Turned a client away that does not speak GDB's remote protocol");
            isOver = true;
            return;
        case FrameKind::TooLong:
            server.options.say("Turned a client away that sends longer packets than were agreed on");
            isOver = true;
            return;
        default:
            return;
    }
    const Request request = ParseRequest(frame.payload);
    if (!IsPartOfLoad(request)) {
        GiveLoadUp();
    }
    if (const Reply reply = AnswerOrError(request)) {
        channel.Send(*reply);
    }
}

Server::Visit::Reply Server::Visit::AnswerOrError(const Request& request) {
    try {
        return std::visit([this](const auto& kind) { return Answer(kind); }, request);
    } catch (const StreamError&) {
        throw;
    } catch (const std::exception& error) {
        return Failure(error.what());
    }
}

// Debuggers show an error's words only where they say that they understand them.
Server::Visit::Reply Server::Visit::Failure(const std::string& words) {
    server.lastFailure = words;
    std::string line = words;
    std::replace_if(
        line.begin(), line.end(), [](char c) { return c < ' ' || c > '~' || c == '#' || c == '$' || c == '}'; }, ' ');
    return understandsErrorTexts ? "E." + line : "E01";
}

Server::Visit::Reply Server::Visit::Answer(const request::Malformed& malformed) {
    return Failure(fmt::format("The packet is malformed: {} expected", malformed.reason));
}

// ---- Greeting

Server::Visit::Reply Server::Visit::Answer(const request::QuerySupported& query) {
    for (const std::string& feature : query.features) {
        understandsErrorTexts |= feature == "error-message+";
        understandsHardwareStops |= feature == "hwbreak+";
        understandsSoftwareStops |= feature == "swbreak+";
    }
    return fmt::format(
        "PacketSize={:x};QStartNoAckMode+;qXfer:memory-map:read+;qXfer:features:read+;vContSupported+;hwbreak+;"
        "swbreak+",
        server.options.packetBytes);
}

Server::Visit::Reply Server::Visit::Answer(const request::StartNoAckMode&) {
    channel.Send("OK");  // this one is still acknowledged
    channel.StopAcknowledging();
    return std::nullopt;
}

Server::Visit::Reply Server::Visit::Answer(const request::EnableExtendedMode&) { return "OK"; }

Server::Visit::Reply Server::Visit::Answer(const request::AskWhyStopped&) {
    return StopReply(lastStop ? *lastStop : chip.Halt());
}

Server::Visit::Reply Server::Visit::Answer(const request::ReadObject& read) {
    std::string document;
    if (read.object == "memory-map" && read.annex.empty()) {
        document = MemoryMapDocument(Map());
    } else if (read.object == "features" && read.annex == "target.xml") {
        document = TargetDocument();
    } else {
        return "E00";  // no such document
    }
    const std::size_t offset = std::min<std::size_t>(read.range.address, document.size());
    const std::size_t room = (server.options.packetBytes - kFrameBytes - 1) / 2;  // all of it might need escapes
    const std::size_t length = std::min({document.size() - offset, std::size_t{read.range.lengthBytes}, room});
    std::string reply = offset + length == document.size() ? "l" : "m";
    AppendEscaped(reply, std::span(reinterpret_cast<const std::uint8_t*>(document.data()) + offset, length));
    return reply;
}

// ---- Registers

Server::Visit::Reply Server::Visit::Answer(const request::ReadRegisters&) {
    std::string all;
    for (std::uint32_t index = 0; index < kCoreRegisterCount; ++index) {
        all += HexOf(LittleEndian(chip.ReadRegister(index)));
    }
    return all;
}

Server::Visit::Reply Server::Visit::Answer(const request::WriteRegisters& write) {
    if (write.bytes.size() != kCoreRegisterCount * kWordBytes) {
        return Failure(fmt::format("{} bytes of registers were sent, not {}", write.bytes.size(),
                                   kCoreRegisterCount * kWordBytes));
    }
    for (std::uint32_t index = 0; index < kCoreRegisterCount; ++index) {
        chip.WriteRegister(index, WordOf(std::span(write.bytes).subspan(index * kWordBytes, kWordBytes)));
    }
    return "OK";
}

Server::Visit::Reply Server::Visit::Answer(const request::ReadRegister& read) {
    const auto index = IndexOf(read.number);
    return index ? Reply(HexOf(LittleEndian(chip.ReadRegister(*index))))
                 : Failure(fmt::format("There is no register number {}", read.number));
}

Server::Visit::Reply Server::Visit::Answer(const request::WriteRegister& write) {
    const auto index = IndexOf(write.number);
    if (!index || write.bytes.size() != kWordBytes) {
        return Failure(fmt::format("There is no register number {} of {} bytes", write.number, write.bytes.size()));
    }
    chip.WriteRegister(*index, WordOf(write.bytes));
    return "OK";
}

// ---- Running

Server::Visit::Reply Server::Visit::Answer(const request::Resume& resume) {
    if (resume.address) {
        chip.WriteRegister(kProgramCounter, *resume.address);
    }
    channel.Flush();
    if (resume.how == request::Resumption::Step) {
        return StopReply(chip.Step());
    }
    chip.Resume();
    return StopReply(RunToStop());
}

// The client may send an interrupt meanwhile, and nothing else.
CoreStop Server::Visit::RunToStop() {
    try {
        while (true) {
            if (const auto stop = chip.AwaitStop(kRunSlice)) {
                return *stop;
            }
            if (HearsInterrupt() || !waiting.empty() || server.mustEnd) {
                return chip.Halt();
            }
        }
    } catch (const StreamError&) {
        chip.Halt();
        throw;
    }
}

// That it was a breakpoint of the client's is said only when it was: told of one that it did not set, it would go on
// for ever.
std::string Server::Visit::StopReply(const CoreStop& stop) {
    lastStop = stop;
    if (stop.reason == CoreStop::Reason::Interrupt) {
        return "T02thread:1;";
    }
    if (stop.reason == CoreStop::Reason::Fault) {
        server.lastFailure = stop.words;
        server.options.say(stop.words);
        return "T0bthread:1;";
    }
    const auto found = breakpoints.find(chip.ReadRegister(kProgramCounter));
    if (stop.reason == CoreStop::Reason::Breakpoint && found != breakpoints.end()) {
        const bool isHardware = found->second == request::BreakpointKind::Hardware;
        if (isHardware ? understandsHardwareStops : understandsSoftwareStops) {
            return isHardware ? "T05hwbreak:;thread:1;" : "T05swbreak:;thread:1;";
        }
    }
    return "T05thread:1;";
}

Server::Visit::Reply Server::Visit::Answer(const request::ChangeBreakpoint& change) {
    if (change.kind != request::BreakpointKind::Software && change.kind != request::BreakpointKind::Hardware) {
        return "";
    }
    if (!change.isInserted) {
        if (breakpoints.erase(change.address) != 0) {
            chip.RemoveBreakpoint(change.kind, change.address);
        }
        return "OK";
    }
    if (!breakpoints.contains(change.address)) {
        if (!chip.InsertBreakpoint(change.kind, change.address)) {
            return Failure(fmt::format("No breakpoint can be set at 0x{:08X}", change.address));
        }
        breakpoints.emplace(change.address, change.kind);
    }
    return "OK";
}

void Server::Visit::RemoveBreakpoints() {
    for (const auto& [address, kind] : breakpoints) {
        try {
            chip.RemoveBreakpoint(kind, address);
        } catch (const std::exception& error) {
            server.options.say(error.what());
        }
    }
    breakpoints.clear();
}

Server::Visit::Reply Server::Visit::Answer(const request::Run&) {
    chip.Reset();
    return StopReply({CoreStop::Reason::Step, ""});
}

Server::Visit::Reply Server::Visit::Answer(const request::Restart&) {
    chip.Reset();
    return std::nullopt;
}

Server::Visit::Reply Server::Visit::Answer(const request::Kill& kill) {
    if (kill.wantsAnswer) {
        return "OK";  // and the client stays: it may want to run the target again
    }
    isOver = true;
    return std::nullopt;
}

Server::Visit::Reply Server::Visit::Answer(const request::Detach&) {
    isOver = true;
    return "OK";
}

// ---- While something takes its time

// What else the client has sent is kept for later.
bool Server::Visit::HearsInterrupt() {
    const auto frame = channel.Receive(std::chrono::nanoseconds::zero());
    if (frame && frame->kind != FrameKind::Interrupt) {
        waiting.push_back(*frame);
        if (waiting.size() > kMostWaiting) {
            throw StreamError("it sends packets and waits for no answer");
        }
    }
    return frame && frame->kind == FrameKind::Interrupt;
}

// A sign of life, which debuggers ignore and which keeps them from giving up; and what the client has sent meanwhile.
void Server::Visit::Look() {
    if (clock.Now() - lastSign >= kSignInterval) {
        lastSign = clock.Now();
        channel.Notify("Working");
    }
    if (HearsInterrupt()) {
        server.isInterrupted = true;
    }
}

}  // namespace flash::host::gdb
