// Stands between a client and a server whose target has no registers that identify a chip: answers reads of those, and
// hands everything else on.
#pragma once

#include <map>
#include <memory>

#include "host/gdb/ByteStream.h"
#include "host/gdb/Framing.h"
#include "host/gdb/Hex.h"

namespace flash::host::gdb {

class IdentityShim final : public ByteStream {
public:
    explicit IdentityShim(std::unique_ptr<ByteStream> server) : behind(std::move(server)) {}

    std::size_t Read(std::span<char> buffer, std::chrono::nanoseconds bound) override {
        if (answers.empty()) {
            return behind->Read(buffer, bound);
        }
        const std::size_t count = std::min(buffer.size(), answers.size());
        answers.copy(buffer.data(), count);
        answers.erase(0, count);
        return count;
    }

    void Write(std::string_view bytes) override {
        std::string rest;
        for (const char byte : bytes) {
            const auto frame = decoder.Take(byte);
            if (frame && frame->kind == FrameKind::Packet && !Answer(frame->payload)) {
                rest += EncodePacket(frame->payload);
            } else if (frame && frame->kind == FrameKind::Ack) {
                rest += '+';
            } else if (frame && frame->kind == FrameKind::Interrupt) {
                rest += '\x03';
                ++interrupts;
            }
        }
        if (!rest.empty()) {
            behind->Write(rest);
        }
    }

    std::map<std::uint32_t, std::uint32_t> words;  // by address
    int interrupts = 0;

private:
    bool Answer(const std::string& request) {
        const std::size_t comma = request.find(',');
        const auto address = request.starts_with('m') ? NumberOf(request.substr(1, comma - 1)) : std::nullopt;
        const auto length = address ? NumberOf(request.substr(comma + 1)) : std::nullopt;
        if (!length || *address < 0x4000'0000 || *address >= 0xE000'0000) {
            return false;
        }
        std::vector<std::uint8_t> bytes;
        for (std::uint64_t i = *address; i < *address + *length; ++i) {
            const auto found = words.find(static_cast<std::uint32_t>(i & ~3ull));
            bytes.push_back(static_cast<std::uint8_t>(found == words.end() ? 0xFF : found->second >> i % 4 * 8));
        }
        answers += "+" + EncodePacket(HexOf(bytes));
        return true;
    }

    std::unique_ptr<ByteStream> behind;
    FrameDecoder decoder{1 << 20, RunLength::Keep};
    std::string answers;
};

}  // namespace flash::host::gdb
