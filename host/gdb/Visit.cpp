// The greeting, what a client may be told, and what ends a stay.
#include "host/gdb/Visit.h"

#include <fmt/format.h>

#include <algorithm>

#include "host/gdb/Hex.h"
#include "host/gdb/ServerDocuments.h"

namespace flash::host::gdb {
namespace {

using std::chrono::milliseconds;

constexpr milliseconds kIdleSlice{100};         // after which the server looks whether it must end
constexpr milliseconds kGreetingBound{10'000};  // debuggers speak first, and at once
constexpr milliseconds kSignInterval{500};
constexpr std::size_t kMostWaiting = 16;

}  // namespace

void Server::Serve(ByteStream& stream) { Visit(*this, stream).Stay(); }

Server::Visit::Visit(Server& visitedServer, ByteStream& stream)
    : server(visitedServer),
      chip(server.chip),
      clock(server.clock),
      // An announced packet is counted with its frame; escapes are part of it.
      channel(stream, clock, server.options.packetBytes, RunLength::Keep),
      arrival(clock.Now()) {}

void Server::Visit::Stay() {
    try {
        while (!isOver && !server.mustEnd) {
            if (!waiting.empty()) {
                const Frame frame = std::move(waiting.front());
                waiting.pop_front();
                Take(frame);
            } else if (const auto frame = channel.Receive(kIdleSlice)) {
                Take(*frame);
            } else {
                BeIdle();
            }
        }
    } catch (const StreamError& error) {
        server.options.say(fmt::format("The client is gone: {}", error.what()));
    }
    GiveLoadUp();
    RemoveBreakpoints();
}

// Whoever says nothing keeps others away.
void Server::Visit::BeIdle() {
    server.options.onIdle();
    if (!isGreeted && clock.Now() - arrival >= kGreetingBound) {
        server.options.say("Turned a client away that says nothing");
        isOver = true;
    }
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
    isGreeted = true;
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
        document = TargetDocument(chip.SystemRegisters());
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
    if (HearsInterrupt() || server.mustEnd) {
        server.isInterrupted = true;
    }
    server.options.onIdle();
}

}  // namespace flash::host::gdb
