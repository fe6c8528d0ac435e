// Greeting, exchanging packets, memory.
#include "host/gdb/Client.h"

#include <fmt/format.h>

#include <algorithm>

#include "host/Words.h"
#include "host/gdb/Hex.h"

namespace flash::host::gdb {
namespace {

// Far above what any server announces: a bound for us, not for them.
constexpr std::size_t kMaxPayloadBytes = std::size_t{1} << 20;
constexpr std::uint32_t kDefaultPacketBytes = 0x400;
constexpr std::uint32_t kSmallestPacketBytes = 0x40;
constexpr std::uint32_t kLargestPacketBytes = 0x4000;
// "$", "#" and the checksum, which some servers count and some do not; and the longest header of a write.
constexpr std::uint32_t kFrameBytes = 4;
constexpr std::uint32_t kWriteHeaderBytes = sizeof "Xffffffff,ffff:" - 1;
// Beyond the bound, a packet that has arrived in time is taken; a server that talks for ever is not listened to for
// ever.
constexpr std::chrono::seconds kPatience{1};
// For the stop of a target that perhaps stands already.
constexpr std::chrono::nanoseconds kDoubt = std::chrono::milliseconds(500);
constexpr std::size_t kBytesToTryWith = 256;  // each value of a byte once

constexpr const char* kGreeting = "qSupported:swbreak+;hwbreak+;vContSupported+;xmlRegisters=arm;error-message+";

// "O" and hex digits: text for the user. "OK" is none.
bool IsOutput(std::string_view payload) {
    return payload.size() > 1 && payload.front() == 'O' && BytesOf(payload.substr(1));
}

}  // namespace

Client::Client(std::unique_ptr<ByteStream> serverStream, Clock& clientClock, std::chrono::nanoseconds answerTimeout)
    : stream(std::move(serverStream)),
      clock(clientClock),
      timeout(answerTimeout),
      channel(*stream, clock, kMaxPayloadBytes, RunLength::Expand) {
    Greet();
}

void Client::Greet() {
    features = ParseFeatures(Exchange(kGreeting, "greet the server"));
    const auto announced = features.contains("PacketSize") ? NumberOf(features["PacketSize"]) : std::nullopt;
    packetBytes = static_cast<std::uint32_t>(
        std::clamp<std::uint64_t>(announced.value_or(kDefaultPacketBytes), kSmallestPacketBytes, kLargestPacketBytes));
    if (features.contains("QStartNoAckMode") && Exchange("QStartNoAckMode", "greet the server") == "OK") {
        channel.StopAcknowledging();
    }
    LetTargetStand();
    if (features.contains("qXfer:features:read")) {
        if (auto described = ReadRegisterLayout([this](const std::string& annex) { return ReadAnnex(annex); })) {
            layout = std::move(*described);
        }
    }
    LearnResumeActions();
}

// A server that lets its target run when a client comes says nothing about why it stands, or nothing that is a reason.
void Client::LetTargetStand() {
    const auto reply = Talk([&] {
        channel.Send("?");
        const std::chrono::nanoseconds end = clock.Now() + timeout;
        std::optional<std::string> packet = NextPacket(end);
        while (packet && IsOutput(*packet)) {
            packet = NextPacket(end);
        }
        return packet;
    });
    const auto stop = reply ? ParseStopReply(*reply) : std::nullopt;
    if (stop && stop->kind == StopReply::Kind::Gone) {
        throw ProbeError("The server has no target: it says that the program has ended");
    }
    if (stop && stop->signal != 0) {
        return;
    }
    Talk([&] { channel.SendInterrupt(); });
    wasRunning = AwaitStop(reply ? std::min(timeout, kDoubt) : timeout).has_value();
    if (!reply && !wasRunning) {
        Talk([&] { LoseForWantOfAnswer("ask why the target stands", 0); });
    }
}

std::optional<std::string> Client::ReadAnnex(const std::string& annex) {
    std::string text;
    while (text.size() < kMaxPayloadBytes) {
        const std::string reply =
            Exchange(fmt::format("qXfer:features:read:{}:{:x},{:x}", annex, text.size(), packetBytes - kFrameBytes),
                     "read the target description");
        const auto piece = reply.empty() ? std::nullopt : Unescape(std::string_view(reply).substr(1));
        if (!piece || (reply.front() != 'm' && reply.front() != 'l')) {
            return std::nullopt;
        }
        text.append(piece->begin(), piece->end());
        if (reply.front() == 'l' || piece->empty()) {
            return text;
        }
    }
    return std::nullopt;
}

void Client::LearnResumeActions() {
    const std::string actions = Exchange("vCont?", "ask how to resume") + ";";
    hasActions = actions.starts_with("vCont") && actions.find(";c;") != std::string::npos &&
                 actions.find(";s;") != std::string::npos;
}

// ---- Exchanging packets

void Client::Lose(const std::string& reason) {
    lostBecause = reason;
    throw ProbeError(fmt::format("The connection to the server was lost: {}", reason));
}

// Null when none came in time, be it that the server talks all the time. What is no packet says nothing to us.
std::optional<std::string> Client::NextPacket(std::chrono::nanoseconds end) {
    do {
        std::optional<Frame> frame = channel.Receive(std::max(end - clock.Now(), std::chrono::nanoseconds::zero()));
        if (!frame || clock.Now() > end + kPatience) {
            return std::nullopt;
        }
        if (frame->kind == FrameKind::TooLong) {
            Lose("it sends a packet without an end");
        }
        if (frame->kind == FrameKind::Packet) {
            return std::move(frame->payload);
        }
    } while (clock.Now() <= end);
    return std::nullopt;
}

void Client::LoseForWantOfAnswer(const std::string& attempt, std::uint64_t damagedBefore) {
    const bool isDamaged = channel.GetTraffic().packetsDamaged != damagedBefore;
    Lose(fmt::format("no {}answer within {} ms, in the attempt to {}", isDamaged ? "undamaged " : "",
                     std::chrono::duration_cast<std::chrono::milliseconds>(timeout).count(), attempt));
}

// Of a target that stands it is the answer to an earlier interrupt, which a breakpoint had come before.
void Client::KeepStop(const StopReply& stop) {
    if (isResumed && stop.kind == StopReply::Kind::Stopped) {
        earlyStop = stop;
    }
}

std::string Client::Exchange(const std::string& payload, const std::string& attempt) {
    return Talk([&] {
        const std::uint64_t damagedBefore = channel.GetTraffic().packetsDamaged;
        channel.Send(payload);
        const std::chrono::nanoseconds end = clock.Now() + timeout;
        while (auto reply = NextPacket(end)) {
            if (const auto stop = ParseStopReply(*reply)) {
                KeepStop(*stop);
            } else if (!IsOutput(*reply)) {
                return std::move(*reply);
            }
        }
        LoseForWantOfAnswer(attempt, damagedBefore);
    });
}

void Client::Refuse(const std::string& attempt, const std::string& reply) {
    const auto error = ErrorOf(reply);
    throw ProbeError(fmt::format("Cannot {}: the server {}", attempt,
                                 error           ? fmt::format("says \"{}\"", *error)
                                 : reply.empty() ? "does not know how"
                                                 : fmt::format("answers \"{}\"", reply.substr(0, 40))));
}

void Client::RequireOk(const std::string& reply, const std::string& attempt) {
    if (reply != "OK") {
        Refuse(attempt, reply);
    }
}

void Client::Detach() {
    try {
        Exchange("D", "detach");
    } catch (const ProbeError&) {  // there is nothing left to let go of
    }
}

// ---- Memory

std::vector<std::uint8_t> Client::ReadMemory(std::uint32_t address, std::uint32_t lengthBytes) {
    const std::string attempt = fmt::format("read {} at 0x{:08X}", Counted(lengthBytes, "byte"), address);
    const std::uint32_t most = (packetBytes - kFrameBytes) / 2 & ~3u;  // whole words, as registers want them
    std::vector<std::uint8_t> bytes;
    bytes.reserve(lengthBytes);
    while (bytes.size() < lengthBytes) {
        const auto done = static_cast<std::uint32_t>(bytes.size());
        const std::uint32_t wanted = std::min(most, lengthBytes - done);
        const std::string reply = Exchange(fmt::format("m{:x},{:x}", address + done, wanted), attempt);
        const auto piece = BytesOf(reply);
        if (!piece || piece->empty() || piece->size() > wanted) {
            Refuse(attempt, reply);
        }
        bytes.insert(bytes.end(), piece->begin(), piece->end());
    }
    return bytes;
}

void Client::WriteMemory(std::uint32_t address, std::span<const std::uint8_t> bytes) {
    if (binaryWrites == BinaryWrites::Untried && bytes.size() >= kBytesToTryWith) {
        TryBinaryWrites(address, bytes.size());
    }
    WritePieces(address, bytes);
}

// Binary writes halve what travels, but servers acknowledge them and lose them. So every value of a byte goes there and
// is read back, before anything that matters takes its place.
void Client::TryBinaryWrites(std::uint32_t address, std::size_t lengthBytes) {
    std::vector<std::uint8_t> trial(
        std::min<std::size_t>({kBytesToTryWith, lengthBytes, (packetBytes - kFrameBytes - kWriteHeaderBytes) / 2}));
    for (std::size_t i = 0; i < trial.size(); ++i) {
        trial[i] = static_cast<std::uint8_t>(i * 37);  // other values than memory is likely to hold there
    }
    binaryWrites = BinaryWrites::Refused;
    try {
        WriteBinaryPiece(address, trial);
        if (ReadMemory(address, static_cast<std::uint32_t>(trial.size())) == trial) {
            binaryWrites = BinaryWrites::Proven;
        }
    } catch (const ProbeError&) {
        if (!lostBecause.empty()) {
            throw;
        }
    }
}

void Client::WriteBinaryPiece(std::uint32_t address, std::span<const std::uint8_t> bytes) {
    std::string payload = fmt::format("X{:x},{:x}:", address, bytes.size());
    AppendEscaped(payload, bytes);
    const std::string attempt = fmt::format("write {} at 0x{:08X}", Counted(bytes.size(), "byte"), address);
    RequireOk(Exchange(payload, attempt), attempt);
}

void Client::WritePieces(std::uint32_t address, std::span<const std::uint8_t> bytes) {
    const std::size_t room = packetBytes - kFrameBytes - kWriteHeaderBytes;
    while (!bytes.empty()) {
        std::size_t length = std::min(bytes.size(), room / 2);
        if (binaryWrites == BinaryWrites::Proven) {
            std::size_t used = 0;
            for (length = 0; length < bytes.size() && used + 2 <= room; ++length) {
                const std::uint8_t byte = bytes[length];
                used += byte == '#' || byte == '$' || byte == '}' || byte == '*' ? 2 : 1;
            }
            // Whole words, as far as there are any more.
            length = length < bytes.size() ? length & ~std::size_t{3} : length;
            WriteBinaryPiece(address, bytes.first(length));
        } else {
            length = length < bytes.size() ? length & ~std::size_t{3} : length;
            const std::string attempt = fmt::format("write {} at 0x{:08X}", Counted(length, "byte"), address);
            RequireOk(Exchange(fmt::format("M{:x},{:x}:{}", address, length, HexOf(bytes.first(length))), attempt),
                      attempt);
        }
        address += static_cast<std::uint32_t>(length);
        bytes = bytes.subspan(length);
    }
}

}  // namespace flash::host::gdb
