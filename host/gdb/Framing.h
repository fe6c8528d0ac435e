// Frames of GDB's remote protocol: `$payload#checksum`, `%notification#checksum`, and the single bytes between them.
// Bytes in, frames out, and back; nothing here knows what a payload means. Shared by client and server.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace flash::host::gdb {

// Runs of one character as `X*n`: what a server may send and a client must expand. A client sends none, and `*` stands
// for itself in what it sends.
enum class RunLength { Expand, Keep };

enum class FrameKind {
    Packet,
    Notification,
    Ack,
    Nack,
    Interrupt,  // 0x03: stop the target
    Damaged,    // the checksum does not fit, or a run that is none
    TooLong,    // more than the receiver takes; what follows is no frame
    Stray,      // a byte that belongs to no frame; the payload is that byte
};

struct Frame {
    FrameKind kind = FrameKind::Stray;
    std::string payload;  // with runs expanded, escapes as they came
    bool operator==(const Frame&) const = default;
};

class FrameDecoder {
public:
    FrameDecoder(std::size_t maxPayloadBytes, RunLength runLength) : maxBytes(maxPayloadBytes), runs(runLength) {}

    // One byte more: the frame that it ends, if it does.
    std::optional<Frame> Take(char byte);

private:
    enum class State { Between, Payload, Run, FirstDigit, SecondDigit };

    std::optional<Frame> TakeBetween(char byte);
    std::optional<Frame> TakePayload(char byte);
    std::optional<Frame> TakeRun(char byte);
    std::optional<Frame> Append(char byte, std::size_t times);
    Frame Finish(char secondDigit);
    void Begin(FrameKind frameKind);

    std::size_t maxBytes;
    RunLength runs;
    State state = State::Between;
    FrameKind kind = FrameKind::Packet;
    std::string payload;
    std::uint8_t sum = 0;
    bool isDamaged = false;
    char firstDigit = 0;
};

std::string EncodePacket(std::string_view payload);
std::string EncodeNotification(std::string_view payload);

// Binary data within a payload: the four characters that frames are made of travel behind a `}`.
void AppendEscaped(std::string& payload, std::span<const std::uint8_t> bytes);

// Null when the text ends inside an escape.
std::optional<std::vector<std::uint8_t>> Unescape(std::string_view escaped);

// The same payload with its runs shortened, for a receiver that expands them. Only for payloads without escapes.
std::string ShortenRuns(std::string_view payload);

}  // namespace flash::host::gdb
