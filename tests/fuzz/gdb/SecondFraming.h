// A second way from bytes to frames: it has all bytes before it and looks for the ends, where the product goes byte by
// byte through states.
#pragma once

#include <cctype>
#include <cstdlib>
#include <string>
#include <vector>

#include "host/gdb/Framing.h"

namespace flash::fuzz {

class SecondFraming {
public:
    SecondFraming(std::string bytes, std::size_t longest, bool hasRuns)
        : all(std::move(bytes)), longestPayload(longest), expandsRuns(hasRuns) {}

    std::vector<host::gdb::Frame> Frames() {
        using host::gdb::FrameKind;
        while (at < all.size()) {
            const char byte = all[at];
            if (byte == '$' || byte == '%') {
                TakeLongFrame(byte == '$' ? FrameKind::Packet : FrameKind::Notification);
                continue;
            }
            const FrameKind kind = byte == '+'    ? FrameKind::Ack
                                   : byte == '-'  ? FrameKind::Nack
                                   : byte == 0x03 ? FrameKind::Interrupt
                                                  : FrameKind::Stray;
            frames.push_back({kind, kind == FrameKind::Stray ? std::string(1, byte) : ""});
            ++at;
        }
        return frames;
    }

private:
    // From the start character on, to whatever ends this frame.
    void TakeLongFrame(host::gdb::FrameKind kind) {
        const std::size_t first = at + 1;
        const std::size_t end = all.find_first_of("#$", first);
        const std::string raw = all.substr(first, end == std::string::npos ? end : end - first);
        std::string payload;
        bool isSound = true;
        for (std::size_t i = 0; i < raw.size(); ++i) {
            if (raw[i] != '*' || !expandsRuns) {
                payload += raw[i];
            } else if (payload.empty() || i + 1 == raw.size() || !IsCount(raw[i + 1])) {
                isSound = false;
                // What follows the star is no count, so it is a character like others.
                i += i + 1 < raw.size() && IsCount(raw[i + 1]) ? 1U : 0U;
            } else if (isSound) {
                payload.append(static_cast<std::size_t>(raw[++i] - 29), payload.back());
            } else {
                ++i;
            }
            if (payload.size() > longestPayload) {
                frames.push_back({host::gdb::FrameKind::TooLong, ""});
                at = first + i + 1;
                return;
            }
        }
        if (end == std::string::npos) {
            at = all.size();
        } else if (all[end] == '$') {
            at = end;
        } else if (end + 2 >= all.size()) {
            at = all.size();
        } else {
            at = end + 3;
            isSound &= IsChecksum(all.substr(end + 1, 2), raw);
            frames.push_back(isSound ? host::gdb::Frame{kind, payload}
                                     : host::gdb::Frame{host::gdb::FrameKind::Damaged, ""});
        }
    }

    static bool IsCount(char character) { return character >= 32 && character <= 126; }

    static bool IsChecksum(const std::string& digits, const std::string& raw) {
        unsigned sum = 0;
        for (const char character : raw) {
            sum += static_cast<unsigned char>(character);
        }
        const bool areDigits = std::isxdigit(static_cast<unsigned char>(digits[0])) != 0 &&
                               std::isxdigit(static_cast<unsigned char>(digits[1])) != 0;
        return areDigits && std::strtoul(digits.c_str(), nullptr, 16) == sum % 256;
    }

    std::string all;
    std::size_t longestPayload;
    bool expandsRuns;
    std::size_t at = 0;
    std::vector<host::gdb::Frame> frames;
};

}  // namespace flash::fuzz
