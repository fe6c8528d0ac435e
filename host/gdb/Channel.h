// Packets over a stream: acknowledges what arrives, sends again what the other side did not understand, until both
// agree to do without. An acknowledgement travels with the next packet, in one write.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

#include "host/gdb/ByteStream.h"
#include "host/gdb/Framing.h"

namespace flash::host::gdb {

// Every frame that was received and sent, for the benchmarks' sake.
struct Traffic {
    std::uint64_t packetsSent = 0;
    std::uint64_t packetsReceived = 0;
    std::uint64_t packetsDamaged = 0;  // arrived so
    std::uint64_t bytesSent = 0;
    std::uint64_t bytesReceived = 0;
};

class Channel {
public:
    // Both must outlive the channel.
    Channel(ByteStream& byteStream, Clock& channelClock, std::size_t maxPayloadBytes, RunLength runLength)
        : stream(byteStream), clock(channelClock), decoder(maxPayloadBytes, runLength) {}

    void Send(std::string_view payload);
    void Notify(std::string_view payload);
    void SendInterrupt();

    // The next packet, notification, interrupt, oversized packet or stray byte; null when none came within `bound`.
    // Acknowledgements, and packets that arrive damaged, are dealt with here. Throws StreamError when the stream ends,
    // or when the other side refuses the same packet, or damages its own, too often.
    std::optional<Frame> Receive(std::chrono::nanoseconds bound);

    // Sends an acknowledgement that waits for company, because the answer will take its time.
    void Flush();

    // From now on, and what waits is not sent.
    void StopAcknowledging();

    const Traffic& GetTraffic() const { return traffic; }

private:
    void Write(std::string bytes);
    bool Fill(std::chrono::nanoseconds bound);
    std::optional<Frame> Consider(Frame frame);
    void CountFailure(const char* text);

    ByteStream& stream;
    Clock& clock;
    FrameDecoder decoder;
    std::string received;     // read from the stream and not decoded yet
    std::size_t decoded = 0;  // of these
    std::string lastFrame;    // to be sent again when it is refused
    bool isAcknowledging = true;
    bool isAckDue = false;
    int failures = 0;  // since the last packet that arrived well
    Traffic traffic;
};

}  // namespace flash::host::gdb
