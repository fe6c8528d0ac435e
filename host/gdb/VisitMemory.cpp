// Memory, flash, and the words between a user and the server.
#include <fmt/format.h>

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "host/gdb/Hex.h"
#include "host/gdb/Visit.h"

namespace flash::host::gdb {
namespace {

constexpr std::uint32_t kCrcPieceBytes = 4096;

// The checksum of "qCRC": most significant bit first, without a final complement.
std::uint32_t AddToCrc(std::uint32_t crc, std::span<const std::uint8_t> bytes) {
    constexpr std::uint32_t kPolynomial = 0x04C1'1DB7;
    for (const std::uint8_t byte : bytes) {
        crc ^= std::uint32_t{byte} << 24;
        for (int bit = 0; bit < 8; ++bit) {
            crc = crc << 1 ^ ((crc & 0x8000'0000) != 0 ? kPolynomial : 0);
        }
    }
    return crc;
}

}  // namespace

const std::vector<MemoryRegion>& Server::Visit::Map() {
    if (!map) {
        map = chip.MemoryMap();
    }
    return *map;
}

std::uint32_t Server::Visit::FlashBytes() {
    std::uint64_t end = 0;
    for (const MemoryRegion& region : Map()) {
        end = region.kind == MemoryRegion::Kind::Flash ? std::max(end, region.address + region.lengthBytes) : end;
    }
    return static_cast<std::uint32_t>(end);
}

void Server::Visit::RequireNoFlash(std::uint32_t address, std::uint64_t lengthBytes) {
    for (const MemoryRegion& region : Map()) {
        if (region.kind == MemoryRegion::Kind::Flash && address < region.address + region.lengthBytes &&
            region.address < address + lengthBytes) {
            throw std::invalid_argument(
                fmt::format("Flash at 0x{:08X} is programmed by \"load\", not written like RAM", address));
        }
    }
}

// ---- Memory

Server::Visit::Reply Server::Visit::Answer(const request::ReadMemory& read) {
    // A shorter answer than asked for is allowed, and asked on from.
    const std::uint32_t room = (server.options.packetBytes - kFrameBytes) / 2;
    const std::uint32_t length = std::min(read.range.lengthBytes, room);
    return length == 0 ? Reply("") : Reply(ShortenRuns(HexOf(chip.ReadMemory(read.range.address, length))));
}

Server::Visit::Reply Server::Visit::Answer(const request::WriteMemory& write) {
    if (!write.bytes.empty()) {  // none: a question whether this kind of packet is understood
        RequireNoFlash(write.address, write.bytes.size());
        chip.WriteMemory(write.address, write.bytes);
    }
    return "OK";
}

Server::Visit::Reply Server::Visit::Answer(const request::Checksum& checksum) {
    channel.Flush();
    std::uint32_t crc = 0xFFFF'FFFF;
    std::uint32_t done = 0;
    server.isInterrupted = false;
    while (done < checksum.range.lengthBytes) {
        const std::uint32_t length = std::min(kCrcPieceBytes, checksum.range.lengthBytes - done);
        crc = AddToCrc(crc, chip.ReadMemory(checksum.range.address + done, length));
        done += length;
        Look();
        if (server.isInterrupted) {
            return Failure("Interrupted");
        }
    }
    return fmt::format("C{:08x}", crc);
}

// ---- Flash

FlashLoad& Server::Visit::Load() {
    if (!load) {
        std::uint32_t blockBytes = 0;
        for (const MemoryRegion& region : Map()) {
            blockBytes = region.kind == MemoryRegion::Kind::Flash ? region.blockBytes : blockBytes;
        }
        if (blockBytes == 0) {
            throw std::invalid_argument("The chip has no flash");
        }
        load.emplace(FlashBytes(), blockBytes);
    }
    return *load;
}

// A client that goes on after a part of its load was refused must not be told in the end that all is well.
Server::Visit::Reply Server::Visit::Collect(const std::function<void()>& work) {
    try {
        work();
        return "OK";
    } catch (const std::exception& error) {
        whyIncomplete = error.what();
        return Failure(whyIncomplete);
    }
}

// Debuggers erase first, so that a load begins anew with it.
Server::Visit::Reply Server::Visit::Answer(const request::EraseFlash& erase) {
    whyIncomplete = load ? whyIncomplete : "";
    return Collect([&] { Load().Erase(erase.range); });
}

Server::Visit::Reply Server::Visit::Answer(const request::WriteFlash& write) {
    return Collect([&] { Load().Write(write.address, write.bytes); });
}

Server::Visit::Reply Server::Visit::Answer(const request::FinishFlash&) {
    const std::optional<FlashLoad> finished = std::exchange(load, std::nullopt);
    if (const std::string reason = std::exchange(whyIncomplete, ""); !reason.empty()) {
        server.options.say(fmt::format("error: {}", reason));
        return Failure(reason);
    }
    if (!finished || finished->IsEmpty()) {
        return "OK";
    }
    channel.Flush();
    server.isInterrupted = false;
    lastStop.reset();
    try {
        server.options.say(Program(*finished));
        server.lastFailure.clear();
        return "OK";
    } catch (const StreamError&) {
        throw;
    } catch (const std::exception& error) {
        server.options.say(fmt::format("error: {}", error.what()));
        return Failure(error.what());
    }
}

// Without the client's breakpoints: one in RAM may lie where a program for the load will be.
std::string Server::Visit::Program(const FlashLoad& finished) {
    for (const auto& [address, kind] : breakpoints) {
        chip.RemoveBreakpoint(kind, address);
    }
    struct Back {
        Visit& visit;
        ~Back() {
            try {
                for (const auto& [address, kind] : visit.breakpoints) {
                    visit.chip.InsertBreakpoint(kind, address);
                }
            } catch (const std::exception& error) {
                visit.server.options.say(error.what());
            }
        }
    } const back{*this};
    return chip.Load(finished, *this);
}

void Server::Visit::GiveLoadUp() {
    const std::optional<FlashLoad> incomplete = std::exchange(load, std::nullopt);
    if (!incomplete) {
        return;
    }
    whyIncomplete = incomplete->IsEmpty() ? "" : "The load was given up before it was complete; flash is as it was";
    if (!whyIncomplete.empty()) {
        server.lastFailure = whyIncomplete;
        server.options.say(whyIncomplete);
    }
}

// ---- Words

Server::Visit::Reply Server::Visit::Answer(const request::Monitor& monitor) {
    channel.Flush();
    server.isInterrupted = false;
    try {
        if (monitor.command == "why") {
            SendOutput(server.lastFailure.empty() ? "Nothing has failed\n" : server.lastFailure + "\n");
        } else {
            SendOutput(chip.Monitor(monitor.command, *this));
            lastStop.reset();
        }
        return "OK";
    } catch (const StreamError&) {
        throw;
    } catch (const std::exception& error) {
        server.lastFailure = error.what();
        SendOutput(fmt::format("{}\n", error.what()));
        return "E01";
    }
}

void Server::Visit::SendOutput(const std::string& text) {
    const std::size_t most = (server.options.packetBytes - kFrameBytes) / 2 - 1;
    for (std::size_t offset = 0; offset < text.size(); offset += most) {
        channel.Send("O" + HexOf(std::string_view(text).substr(offset, most)));
    }
}

}  // namespace flash::host::gdb
