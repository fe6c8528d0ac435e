// A GDB server in memory that answers truly as long as the input lets it, and then as the input says: with bytes that
// are no packet, with packets that are no answer, in pieces of any size, or not at all.
#pragma once

#include <algorithm>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "host/gdb/ByteStream.h"
#include "host/gdb/Framing.h"
#include "host/gdb/Hex.h"
#include "tests/fuzz/ByteSource.h"
#include "tests/fuzz/FuzzTarget.h"
#include "tests/host/gdb/MemoryStream.h"
#include "tests/host/gdb/RequestKind.h"

namespace flash::fuzz {

class HostileServer final : public host::gdb::ByteStream {
public:
    // What outlives the connection, and what can be said about it.
    struct Target {
        static constexpr std::uint32_t kRam = 0x2000'0000;
        static constexpr std::uint32_t kRamBytes = 0x400;
        static constexpr std::uint32_t kWordThatChanges = kRam + 0x100;  // when the target runs

        std::vector<std::uint8_t> ram = std::vector<std::uint8_t>(kRamBytes, 0x55);
        std::map<std::uint32_t, std::uint32_t> registers;
        std::set<std::uint32_t> breakpoints;
        bool isRunning = false;
        bool hasLied = false;
        bool isClosed = false;
        std::size_t packets = 0;  // that arrived
    };

    HostileServer(ByteSource& fuzzInput, Target& servedTarget, host::gdb::FakeClock& fakeClock)
        : input(fuzzInput),
          target(servedTarget),
          clock(fakeClock),
          packetBytes(0x40 + input.Byte() * 4u),
          losesBinaryWrites(input.Chance(2)),
          hasActions(input.Chance(2)),
          hasSingleRegisters(!input.Chance(2)),
          hasNoAckMode(input.Chance(2)),
          comesInPieces(input.Chance(2)) {}

    std::size_t Read(std::span<char> buffer, std::chrono::nanoseconds bound) override {
        if (talksForEver) {
            output += host::gdb::EncodePacket("O41");
            clock.now += std::chrono::milliseconds(1);
        }
        if (output.empty() && target.isClosed) {
            throw host::gdb::StreamError("the other side closed the connection");
        }
        if (output.empty()) {
            clock.now += std::max(bound, std::chrono::nanoseconds::zero());
            return 0;
        }
        const std::size_t most = comesInPieces ? 1u + input.Byte() % 7 : output.size();
        const std::size_t count = std::min({buffer.size(), output.size(), most});
        output.copy(buffer.data(), count);
        output.erase(0, count);
        return count;
    }

    void Write(std::string_view bytes) override {
        if (target.isClosed) {
            throw host::gdb::StreamError("the other side closed the connection");
        }
        for (const char byte : bytes) {
            if (const auto frame = decoder.Take(byte)) {
                Take(*frame);
            }
        }
    }

private:
    void Take(const host::gdb::Frame& frame) {
        using host::gdb::FrameKind;
        if (frame.kind == FrameKind::Interrupt && target.isRunning) {
            target.isRunning = false;
            Say("T02");
        } else if (frame.kind == FrameKind::Packet) {
            ++target.packets;
            const bool isWhole = frame.payload.starts_with('G');  // all registers, which cannot be cut
            FuzzRequire(target.hasLied || isWhole || frame.payload.size() <= std::max<std::size_t>(packetBytes, 0x60),
                        "no packet is longer than the server takes");
            FuzzRequire(target.hasLied || !target.isRunning, "nothing is asked while the target runs");
            output += acknowledges ? "+" : "";
            const std::string answer = Answer(frame.payload);
            if (!target.isRunning || !answer.empty()) {
                Say(answer);
            }
        }
    }

    // Zeros, such as an input that is used up gives, are the truth.
    void Say(const std::string& answer) {
        const std::uint32_t lie = input.Byte();
        target.hasLied |= lie >= 200;
        if (lie < 200) {
            output += host::gdb::EncodePacket(answer);
        } else if (lie < 215) {
            output += host::gdb::EncodePacket(input.Text(40));
        } else if (lie < 225) {
            output += host::gdb::EncodePacket(answer.substr(0, input.Byte()) + input.Text(20));
        } else if (lie < 235) {
            output += input.Text(30);
        } else if (lie < 240) {
            output += host::gdb::EncodePacket(answer) + host::gdb::EncodePacket(answer);
        } else if (lie < 245) {
            talksForEver = true;
        } else if (lie < 250) {
            target.isClosed = true;
        }
    }

    std::string Answer(const std::string& request) {
        if (request.starts_with("qSupported")) {
            char size[8];
            std::snprintf(size, sizeof size, "%x", packetBytes);
            return std::string("PacketSize=") + size + (hasNoAckMode ? ";QStartNoAckMode+" : "");
        }
        if (request == "QStartNoAckMode") {
            acknowledges = false;
            return "OK";
        }
        if (request == "?" || request == "s" || request == "vCont;s") {
            return "S05";
        }
        if (request == "vCont?") {
            return hasActions ? "vCont;c;C;s;S" : "";
        }
        if (request == "c" || request == "vCont;c") {
            return Resume();
        }
        if (request == "D") {
            return "OK";
        }
        switch (host::gdb::KindOf(request)) {
            case host::gdb::RequestKind::Memory:
                return AnswerMemory(request);
            case host::gdb::RequestKind::Register:
                return hasSingleRegisters ? AnswerRegister(request) : "";
            case host::gdb::RequestKind::AllRegisters:
                return AnswerRegisters(request);
            case host::gdb::RequestKind::Breakpoint:
                target.breakpoints.clear();
                if (request.front() == 'Z') {
                    target.breakpoints.insert(static_cast<std::uint32_t>(
                        host::gdb::NumberOf(request.substr(3, request.rfind(',') - 3)).value()));
                }
                return "OK";
            default:
                return request.starts_with("qRcmd,") ? "OK" : "";
        }
    }

    std::string Resume() {
        ++target.ram[Target::kWordThatChanges - Target::kRam];
        target.isRunning = input.Chance(2) || target.breakpoints.empty();
        if (!target.isRunning) {
            target.registers[15] = *target.breakpoints.begin();
        }
        return target.isRunning ? "" : "T05";
    }

    std::string AnswerMemory(const std::string& request) {
        const std::size_t comma = request.find(',');
        const std::size_t colon = std::min(request.find(':'), request.size());
        const std::uint64_t address = host::gdb::NumberOf(request.substr(1, comma - 1)).value();
        const std::uint64_t length = host::gdb::NumberOf(request.substr(comma + 1, colon - comma - 1)).value();
        if (address < Target::kRam || address - Target::kRam + length > Target::kRamBytes) {
            return "E01";
        }
        const auto place = target.ram.begin() + static_cast<std::ptrdiff_t>(address - Target::kRam);
        if (request.front() == 'm') {
            return host::gdb::HexOf(std::vector<std::uint8_t>(place, place + static_cast<std::ptrdiff_t>(length)));
        }
        const auto bytes = request.front() == 'M' ? host::gdb::BytesOf(std::string_view(request).substr(colon + 1))
                                                  : host::gdb::Unescape(std::string_view(request).substr(colon + 1));
        FuzzRequire(bytes && bytes->size() == length, "a write has as many bytes as it says");
        if (request.front() == 'M' || !losesBinaryWrites) {
            std::copy(bytes->begin(), bytes->end(), place);
        }
        return "OK";
    }

    static std::string Digits(std::uint32_t word) {
        const std::vector<std::uint8_t> bytes = {static_cast<std::uint8_t>(word), static_cast<std::uint8_t>(word >> 8),
                                                 static_cast<std::uint8_t>(word >> 16),
                                                 static_cast<std::uint8_t>(word >> 24)};
        return host::gdb::HexOf(bytes);
    }

    static std::uint32_t Word(const std::string& digits) {
        const auto bytes = host::gdb::BytesOf(digits).value();
        return bytes.at(0) | std::uint32_t{bytes.at(1)} << 8 | std::uint32_t{bytes.at(2)} << 16 |
               std::uint32_t{bytes.at(3)} << 24;
    }

    std::string AnswerRegister(const std::string& request) {
        const std::size_t equals = std::min(request.find('='), request.size());
        const auto number = static_cast<std::uint32_t>(host::gdb::NumberOf(request.substr(1, equals - 1)).value());
        if (request.front() == 'P') {
            target.registers[number] = Word(request.substr(equals + 1));
            return "OK";
        }
        return Digits(target.registers[number]);
    }

    // Sixteen of the core, and behind them what the layout without a description has.
    std::string AnswerRegisters(const std::string& request) {
        if (request.front() == 'G' && request.size() <= std::size_t{16} * 8) {
            return "E01";  // of registers that were not all told
        }
        std::string all;
        for (std::uint32_t number = 0; number < 16; ++number) {
            if (request.front() == 'G') {
                target.registers[number] = Word(request.substr(1 + 8 * number, 8));
            }
            all += Digits(target.registers[number]);
        }
        return request.front() == 'G' ? "OK" : all + std::string(2 * 104, '0');
    }

    ByteSource& input;
    Target& target;
    host::gdb::FakeClock& clock;
    std::uint32_t packetBytes;
    bool losesBinaryWrites, hasActions, hasSingleRegisters, hasNoAckMode, comesInPieces;
    bool acknowledges = true;
    bool talksForEver = false;
    host::gdb::FrameDecoder decoder{1 << 16, host::gdb::RunLength::Keep};
    std::string output;
};

}  // namespace flash::fuzz
