// The decoder is a state machine over single bytes, so that it makes no difference how a stream cuts them.
#include "host/gdb/Framing.h"

#include <algorithm>

#include "host/gdb/Hex.h"

namespace flash::host::gdb {
namespace {

constexpr char kPacketStart = '$';
constexpr char kNotificationStart = '%';
constexpr char kEnd = '#';
constexpr char kEscape = '}';
constexpr char kRun = '*';
constexpr char kInterrupt = 0x03;
constexpr char kEscapeBit = 0x20;

// A run's count is a printable character, 29 above the number of repetitions.
constexpr char kFirstCount = ' ';
constexpr char kLastCount = '~';
constexpr int kCountBias = 29;
constexpr std::size_t kFewestRepetitions = 3;
constexpr std::size_t kMostRepetitions = kLastCount - kCountBias;

// Counts that would be taken for something else between frames.
bool IsForbiddenCount(char count) {
    return count == kEnd || count == kPacketStart || count == '+' || count == '-' || count == kNotificationStart;
}

std::string Encode(char start, std::string_view payload) {
    std::uint8_t sum = 0;
    for (const char character : payload) {
        sum = static_cast<std::uint8_t>(sum + static_cast<std::uint8_t>(character));
    }
    std::string frame(1, start);
    frame += payload;
    frame += kEnd;
    frame += HexOf(std::span(&sum, 1));
    return frame;
}

}  // namespace

std::optional<Frame> FrameDecoder::Take(char byte) {
    switch (state) {
        case State::Between:
            return TakeBetween(byte);
        case State::Payload:
            return TakePayload(byte);
        case State::Run:
            return TakeRun(byte);
        case State::FirstDigit:
            firstDigit = byte;
            state = State::SecondDigit;
            return std::nullopt;
        case State::SecondDigit:
            break;
    }
    return Finish(byte);
}

std::optional<Frame> FrameDecoder::TakeBetween(char byte) {
    switch (byte) {
        case kPacketStart:
            Begin(FrameKind::Packet);
            return std::nullopt;
        case kNotificationStart:
            Begin(FrameKind::Notification);
            return std::nullopt;
        case '+':
            return Frame{FrameKind::Ack, ""};
        case '-':
            return Frame{FrameKind::Nack, ""};
        case kInterrupt:
            return Frame{FrameKind::Interrupt, ""};
        default:
            return Frame{FrameKind::Stray, std::string(1, byte)};
    }
}

std::optional<Frame> FrameDecoder::TakePayload(char byte) {
    if (byte == kPacketStart) {  // the end of the packet before was lost
        Begin(FrameKind::Packet);
        return std::nullopt;
    }
    if (byte == kEnd) {
        state = State::FirstDigit;
        return std::nullopt;
    }
    sum = static_cast<std::uint8_t>(sum + static_cast<std::uint8_t>(byte));
    if (byte == kRun && runs == RunLength::Expand) {
        isDamaged |= payload.empty();
        state = State::Run;
        return std::nullopt;
    }
    return Append(byte, 1);
}

std::optional<Frame> FrameDecoder::TakeRun(char byte) {
    state = State::Payload;
    if (byte < kFirstCount || byte > kLastCount || byte == kEnd || byte == kPacketStart) {
        isDamaged = true;
        return TakePayload(byte);
    }
    sum = static_cast<std::uint8_t>(sum + static_cast<std::uint8_t>(byte));
    return isDamaged ? std::nullopt : Append(payload.back(), static_cast<std::size_t>(byte - kCountBias));
}

std::optional<Frame> FrameDecoder::Append(char byte, std::size_t times) {
    if (times > maxBytes - payload.size()) {
        state = State::Between;
        payload.clear();
        return Frame{FrameKind::TooLong, ""};
    }
    payload.append(times, byte);
    return std::nullopt;
}

Frame FrameDecoder::Finish(char secondDigit) {
    state = State::Between;
    const auto high = DigitOf(firstDigit);
    const auto low = DigitOf(secondDigit);
    if (isDamaged || !high || !low || (*high << 4 | *low) != sum) {
        return {FrameKind::Damaged, ""};
    }
    return {kind, std::move(payload)};
}

void FrameDecoder::Begin(FrameKind frameKind) {
    state = State::Payload;
    kind = frameKind;
    payload.clear();
    sum = 0;
    isDamaged = false;
}

std::string EncodePacket(std::string_view payload) { return Encode(kPacketStart, payload); }

std::string EncodeNotification(std::string_view payload) { return Encode(kNotificationStart, payload); }

void AppendEscaped(std::string& payload, std::span<const std::uint8_t> bytes) {
    for (const std::uint8_t byte : bytes) {
        const auto character = static_cast<char>(byte);
        if (character == kEnd || character == kPacketStart || character == kEscape || character == kRun) {
            payload += kEscape;
            payload += static_cast<char>(character ^ kEscapeBit);
        } else {
            payload += character;
        }
    }
}

std::optional<std::vector<std::uint8_t>> Unescape(std::string_view escaped) {
    std::vector<std::uint8_t> bytes;
    bytes.reserve(escaped.size());
    for (std::size_t i = 0; i < escaped.size(); ++i) {
        if (escaped[i] != kEscape) {
            bytes.push_back(static_cast<std::uint8_t>(escaped[i]));
        } else if (++i == escaped.size()) {
            return std::nullopt;
        } else {
            bytes.push_back(static_cast<std::uint8_t>(escaped[i] ^ kEscapeBit));
        }
    }
    return bytes;
}

std::string ShortenRuns(std::string_view payload) {
    std::string shortened;
    for (std::size_t i = 0; i < payload.size();) {
        const char character = payload[i];
        const std::size_t end = std::min(payload.find_first_not_of(character, i), payload.size());
        shortened += character;
        ++i;
        while (end - i >= kFewestRepetitions) {
            std::size_t repetitions = std::min(end - i, kMostRepetitions);
            while (IsForbiddenCount(static_cast<char>(repetitions + kCountBias))) {
                --repetitions;
            }
            shortened += kRun;
            shortened += static_cast<char>(repetitions + kCountBias);
            i += repetitions;
            if (i < end) {
                shortened += character;
                ++i;
            }
        }
    }
    return shortened;
}

}  // namespace flash::host::gdb
