// Registers, running, breakpoints.
#include <fmt/format.h>

#include "host/Words.h"
#include "host/gdb/Hex.h"
#include "host/gdb/Visit.h"

namespace flash::host::gdb {
namespace {

constexpr std::chrono::milliseconds kRunSlice{20};  // after which the server looks whether the client wants a stop
constexpr std::size_t kWordBytes = 4;
constexpr std::uint32_t kProgramCounter = 15;
constexpr std::uint32_t kStatusRegister = 25;  // what the description calls it; system registers follow

std::vector<std::uint8_t> LittleEndian(std::uint32_t word) {
    return {static_cast<std::uint8_t>(word), static_cast<std::uint8_t>(word >> 8),
            static_cast<std::uint8_t>(word >> 16), static_cast<std::uint8_t>(word >> 24)};
}

std::uint32_t WordOf(std::span<const std::uint8_t> bytes) {
    return bytes[0] | std::uint32_t{bytes[1]} << 8 | std::uint32_t{bytes[2]} << 16 | std::uint32_t{bytes[3]} << 24;
}

}  // namespace

// ---- Registers

std::uint32_t Server::Visit::RegisterCount() {
    return kCoreRegisterCount + static_cast<std::uint32_t>(chip.SystemRegisters().size());
}

std::optional<std::uint32_t> Server::Visit::IndexOf(std::uint32_t number) {
    const std::uint32_t index = number < kStatusRegister ? number : number - kStatusRegister + kCoreRegisterCount - 1;
    const bool isKnown = number <= kProgramCounter || (number >= kStatusRegister && index < RegisterCount());
    return isKnown ? std::optional(index) : std::nullopt;
}

Server::Visit::Reply Server::Visit::Answer(const request::ReadRegisters&) {
    std::string all;
    for (std::uint32_t index = 0; index < RegisterCount(); ++index) {
        all += HexOf(LittleEndian(chip.ReadRegister(index)));
    }
    return all;
}

Server::Visit::Reply Server::Visit::Answer(const request::WriteRegisters& write) {
    const std::size_t expected = RegisterCount() * kWordBytes;
    if (write.bytes.size() != expected) {
        return Failure(fmt::format("Registers were sent in {}, not {}", Counted(write.bytes.size(), "byte"), expected));
    }
    for (std::uint32_t index = 0; index < RegisterCount(); ++index) {
        chip.WriteRegister(index, WordOf(std::span(write.bytes).subspan(index * kWordBytes, kWordBytes)));
    }
    return "OK";
}

Server::Visit::Reply Server::Visit::Answer(const request::ReadRegister& read) {
    const auto index = IndexOf(read.number);
    return index ? Reply(HexOf(LittleEndian(chip.ReadRegister(*index))))
                 : Failure(fmt::format("There is no register number {}", read.number));
}

Server::Visit::Reply Server::Visit::Answer(const request::WriteRegister& write) {
    const auto index = IndexOf(write.number);
    if (!index || write.bytes.size() != kWordBytes) {
        return Failure(
            fmt::format("There is no register number {} of {}", write.number, Counted(write.bytes.size(), "byte")));
    }
    chip.WriteRegister(*index, WordOf(write.bytes));
    return "OK";
}

// ---- Running

Server::Visit::Reply Server::Visit::Answer(const request::Resume& resume) {
    if (resume.address) {
        chip.WriteRegister(kProgramCounter, *resume.address);
    }
    channel.Flush();
    if (resume.how == request::Resumption::Step) {
        return StopReply(chip.Step());
    }
    chip.Resume();
    return StopReply(RunToStop());
}

// The client may send an interrupt meanwhile, and nothing else.
CoreStop Server::Visit::RunToStop() {
    try {
        while (true) {
            if (const auto stop = chip.AwaitStop(kRunSlice)) {
                return *stop;
            }
            if (HearsInterrupt() || !waiting.empty() || server.mustEnd) {
                return chip.Halt();
            }
            server.options.onIdle();
        }
    } catch (const StreamError&) {
        chip.Halt();
        throw;
    }
}

// That it was a breakpoint of the client's is said only when it was: told of one that it did not set, it would go on
// for ever.
std::string Server::Visit::StopReply(const CoreStop& stop) {
    lastStop = stop;
    if (stop.reason == CoreStop::Reason::Interrupt) {
        return "T02thread:1;";
    }
    if (stop.reason == CoreStop::Reason::Fault) {
        server.lastFailure = stop.words;
        server.options.say(stop.words);
        return "T0bthread:1;";
    }
    const auto found = breakpoints.find(chip.ReadRegister(kProgramCounter));
    if (stop.reason == CoreStop::Reason::Breakpoint && found != breakpoints.end()) {
        const bool isHardware = found->second == request::BreakpointKind::Hardware;
        if (isHardware ? understandsHardwareStops : understandsSoftwareStops) {
            return isHardware ? "T05hwbreak:;thread:1;" : "T05swbreak:;thread:1;";
        }
    }
    return "T05thread:1;";
}

Server::Visit::Reply Server::Visit::Answer(const request::ChangeBreakpoint& change) {
    if (change.kind != request::BreakpointKind::Software && change.kind != request::BreakpointKind::Hardware) {
        return "";
    }
    if (!change.isInserted) {
        if (breakpoints.erase(change.address) != 0) {
            chip.RemoveBreakpoint(change.kind, change.address);
        }
        return "OK";
    }
    if (change.kind == request::BreakpointKind::Software) {
        RequireNoFlash(change.address, 1);
    }
    if (!breakpoints.contains(change.address)) {
        if (!chip.InsertBreakpoint(change.kind, change.address)) {
            return Failure(fmt::format("No breakpoint can be set at 0x{:08X}", change.address));
        }
        breakpoints.emplace(change.address, change.kind);
    }
    return "OK";
}

void Server::Visit::RemoveBreakpoints() {
    for (const auto& [address, kind] : breakpoints) {
        try {
            chip.RemoveBreakpoint(kind, address);
        } catch (const std::exception& error) {
            server.options.say(error.what());
        }
    }
    breakpoints.clear();
}

Server::Visit::Reply Server::Visit::Answer(const request::Run&) {
    chip.Reset();
    return StopReply({CoreStop::Reason::Step, ""});
}

Server::Visit::Reply Server::Visit::Answer(const request::Restart&) {
    chip.Reset();
    return std::nullopt;
}

Server::Visit::Reply Server::Visit::Answer(const request::Kill& kill) {
    if (kill.wantsAnswer) {
        return "OK";  // and the client stays: it may want to run the target again
    }
    isOver = true;
    return std::nullopt;
}

Server::Visit::Reply Server::Visit::Answer(const request::Detach&) {
    RemoveBreakpoints();
    chip.LetRun();
    isOver = true;
    return "OK";
}

}  // namespace flash::host::gdb
