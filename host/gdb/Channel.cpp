// A refusal is answered even when both sides do without acknowledgements only by ignoring it, as debuggers send some
// then.
#include "host/gdb/Channel.h"

#include <algorithm>

namespace flash::host::gdb {
namespace {
constexpr int kMostFailures = 4;
constexpr std::size_t kReadBytes = 16384;
}  // namespace

void Channel::Send(std::string_view payload) {
    lastFrame = EncodePacket(payload);
    ++traffic.packetsSent;
    Write(lastFrame);
}

void Channel::Notify(std::string_view payload) { Write(EncodeNotification(payload)); }

void Channel::SendInterrupt() { Write("\x03"); }

void Channel::Flush() {
    if (isAckDue) {
        Write("");
    }
}

void Channel::StopAcknowledging() {
    isAcknowledging = false;
    isAckDue = false;
}

void Channel::Write(std::string bytes) {
    if (isAckDue) {
        bytes.insert(bytes.begin(), '+');
        isAckDue = false;
    }
    traffic.bytesSent += bytes.size();
    stream.Write(bytes);
}

std::optional<Frame> Channel::Receive(std::chrono::nanoseconds bound) {
    const std::chrono::nanoseconds end = clock.Now() + bound;
    bool hasRead = false;
    while (true) {
        while (decoded < received.size()) {
            if (std::optional<Frame> frame = decoder.Take(received[decoded++])) {
                if (std::optional<Frame> considered = Consider(std::move(*frame))) {
                    return considered;
                }
            }
        }
        Flush();
        const std::chrono::nanoseconds left = end - clock.Now();
        // Somebody who never stops sending must not keep us here either.
        if ((hasRead && left <= std::chrono::nanoseconds::zero()) || !Fill(left)) {
            return std::nullopt;
        }
        hasRead = true;
    }
}

// False when nothing came.
bool Channel::Fill(std::chrono::nanoseconds bound) {
    received.resize(kReadBytes);
    decoded = 0;
    std::size_t count = 0;
    try {
        count = stream.Read(received, std::max(bound, std::chrono::nanoseconds::zero()));
    } catch (const StreamError&) {
        received.clear();
        throw;
    }
    received.resize(count);
    traffic.bytesReceived += count;
    return count != 0;
}

// Null for what concerns the channel alone.
std::optional<Frame> Channel::Consider(Frame frame) {
    switch (frame.kind) {
        case FrameKind::Ack:
            return std::nullopt;
        case FrameKind::Nack:
            if (isAcknowledging && !lastFrame.empty()) {
                CountFailure("the other side keeps refusing a packet as damaged");
                Write(lastFrame);
            }
            return std::nullopt;
        case FrameKind::Damaged:
            ++traffic.packetsDamaged;
            CountFailure("packets keep arriving damaged");
            if (isAcknowledging) {
                isAckDue = false;
                Write("-");
            }
            return std::nullopt;
        case FrameKind::Packet:
            failures = 0;
            ++traffic.packetsReceived;
            isAckDue = isAcknowledging;
            return frame;
        default:
            return frame;
    }
}

void Channel::CountFailure(const char* text) {
    if (++failures > kMostFailures) {
        throw StreamError(text);
    }
}

}  // namespace flash::host::gdb
