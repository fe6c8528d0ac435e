// What the host asks of a probe, in terms of a server's packets. Running and resetting are in GdbProbeRun.cpp.
#include "host/gdb/GdbProbe.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>

#include "host/Numbers.h"
#include "host/Words.h"

namespace flash::host::gdb {
namespace {

constexpr std::uint32_t kIdentificationRegister = 1;
constexpr std::uint32_t kThumbBit = 1u << 24;
constexpr std::size_t kMostNotes = 4;
constexpr std::size_t kLongestNote = 64;
constexpr std::size_t kCheckedPieceBytes = 4096;
constexpr std::uint32_t kStatusRegister = 16;  // as debuggers of ours count

Client::BreakpointKind KindOf(DebugService::BreakpointKind kind) {
    return kind == DebugService::BreakpointKind::Hardware ? Client::BreakpointKind::Hardware
                                                          : Client::BreakpointKind::Software;
}

bool IsAllZero(std::span<const std::uint8_t> bytes) {
    return std::ranges::all_of(bytes, [](std::uint8_t byte) { return byte == 0; });
}

void StoreWord(std::span<std::uint8_t> bytes, std::uint32_t word) {
    std::ranges::copy(LittleEndianBytes(word), bytes.begin());
}

}  // namespace

GdbProbe::GdbProbe(std::unique_ptr<ByteStream> stream, Clock& probeClock, std::string serverPlace,
                   GdbProbeOptions probeOptions)
    : clock(probeClock),
      place(std::move(serverPlace)),
      options(std::move(probeOptions)),
      client(std::move(stream), clock, options.timeout),
      isRunning(client.WasRunning()) {}

GdbProbe::~GdbProbe() {
    try {
        StopToLook();
        ClearAnswerPoint();
    } catch (const ProbeError&) {  // whoever comes next finds the target as it is
    }
    client.Detach();
}

std::string GdbProbe::Describe() const {
    return fmt::format("the GDB server at {}{}", place,
                       options.identificationCode ? "" : ", the chip's revision assumed for want of id-code=");
}

void GdbProbe::SelectRoute(const std::string& route) {
    if (route != "Cortex" && route != "Sluice") {
        throw ProbeError(fmt::format("There is no debug route \"{}\"", route));
    }
    isRouterSelected = route == "Sluice";
}

// ---- Memory

void GdbProbe::ReadMemory(std::uint32_t address, std::span<std::uint8_t> bytes, std::size_t) {
    const bool isWord = bytes.size() == sizeof(std::uint32_t);
    if (isWord && known && known->address == address && (!isResumed || !HasStopped(std::chrono::nanoseconds::zero()))) {
        StoreWord(bytes, known->value);
        return;
    }
    if (!options.hasBackgroundAccess) {
        StopToLook();
    }
    if (isWord) {
        StoreWord(bytes, ReadWord(address));
        return;
    }
    std::ranges::copy(client.ReadMemory(address, static_cast<std::uint32_t>(bytes.size())), bytes.begin());
}

std::uint32_t GdbProbe::ReadWord(std::uint32_t address) {
    const std::uint32_t word = LittleEndian(ReadWithCompany(address, sizeof(std::uint32_t)));
    if (!isResumed) {
        known = Word{address, word};
    }
    return word;
}

// Some servers answer a read that failed with zeros, and a status of zero means success. So a word of a short block
// that we wrote is read with the rest of that block, which was not all zeros when we did.
std::vector<std::uint8_t> GdbProbe::ReadWithCompany(std::uint32_t address, std::uint32_t lengthBytes) {
    for (const auto& [start, written] : notes) {
        if (address < start || address - start + lengthBytes > written.size() || IsAllZero(written)) {
            continue;
        }
        const auto blockBytes = static_cast<std::uint32_t>(written.size());
        std::vector<std::uint8_t> block = client.ReadMemory(start, blockBytes);
        if (IsAllZero(block) && IsAllZero(block = client.ReadMemory(start, blockBytes))) {
            throw ProbeError(fmt::format(
                "Cannot read {} at 0x{:08X}: the server answers with zeros, where 0x{:02X} "
                "was written; it seems not to reach the target's memory",
                Counted(blockBytes, "byte"), start, *std::ranges::find_if(written, [](auto b) { return b != 0; })));
        }
        const auto first = block.begin() + (address - start);
        return {first, first + lengthBytes};
    }
    return client.ReadMemory(address, lengthBytes);
}

void GdbProbe::WriteMemory(std::uint32_t address, std::span<const std::uint8_t> bytes, std::size_t) {
    if (bytes.empty()) {
        return;
    }
    if (!options.hasBackgroundAccess) {
        StopToLook();
    }
    if (answerPoint && *answerPoint >= address && *answerPoint - address < bytes.size()) {
        ClearAnswerPoint();  // a breakpoint in software lies in what is written over
    }
    known.reset();
    std::erase_if(notes, [&](const auto& note) {
        return note.first < std::uint64_t{address} + bytes.size() &&
               address < std::uint64_t{note.first} + note.second.size();
    });
    client.WriteMemory(address, bytes);
    if (options.checksWrites) {
        CheckWritten(address, bytes);
    }
    if (bytes.size() <= kLongestNote && bytes.size() > sizeof(std::uint32_t)) {
        if (notes.size() == kMostNotes) {
            notes.erase(notes.begin());
        }
        notes[address].assign(bytes.begin(), bytes.end());
    }
}

void GdbProbe::CheckWritten(std::uint32_t address, std::span<const std::uint8_t> bytes) {
    for (std::size_t offset = 0; offset < bytes.size(); offset += kCheckedPieceBytes) {
        const auto wanted = bytes.subspan(offset, std::min(kCheckedPieceBytes, bytes.size() - offset));
        const auto found =
            client.ReadMemory(address + static_cast<std::uint32_t>(offset), static_cast<std::uint32_t>(wanted.size()));
        const auto [byte, other] = std::ranges::mismatch(wanted, found);
        if (byte != wanted.end()) {
            throw ProbeError(
                fmt::format("The server does not write what it is given: at 0x{:08X} 0x{:02X} was sent and 0x{:02X} "
                            "is read back",
                            address + offset + static_cast<std::size_t>(byte - wanted.begin()), *byte, *other));
        }
    }
}

// ---- Registers

std::string GdbProbe::RegisterName(std::uint32_t registerNumber) const {
    if (registerNumber < kFirstCoreRegister || registerNumber > kProgramCounterRegister) {
        throw ProbeError(fmt::format("The core has no register number {}", registerNumber));
    }
    static constexpr const char* kLast[] = {"sp", "lr", "pc"};
    const std::uint32_t index = registerNumber - kFirstCoreRegister;
    return index < 13 ? fmt::format("r{}", index) : kLast[index - 13];
}

std::uint64_t GdbProbe::ReadRegister(std::uint32_t registerNumber) {
    if (!isRouterSelected) {
        const std::string name = RegisterName(registerNumber);
        StopToLook();
        return client.ReadRegister(name);
    }
    if (registerNumber != kIdentificationRegister) {
        throw ProbeError(fmt::format("The debug router has no register {}", registerNumber));
    }
    return options.identificationCode.value_or(options.assumedIdentificationCode);
}

// A core that was reset over empty vectors is not in the state in which it executes our code, and would lock up at the
// first instruction. Whoever sets the program counter means it to run.
void GdbProbe::WriteRegister(std::uint32_t registerNumber, std::uint64_t value) {
    const std::string name = RegisterName(registerNumber);
    StopToLook();
    client.WriteRegister(name, static_cast<std::uint32_t>(value));
    if (registerNumber != kProgramCounterRegister) {
        return;
    }
    isAtAnswerPoint = false;
    troubleNote.clear();
    if (client.HasRegister("xpsr")) {
        const std::uint32_t status = client.ReadRegister("xpsr");
        if ((status & kThumbBit) == 0) {
            client.WriteRegister("xpsr", status | kThumbBit);
        }
    }
}

// ---- For debuggers

std::vector<std::string> GdbProbe::SystemRegisters() const {
    std::vector<std::string> names;
    std::ranges::copy_if(kSystemRegisters, std::back_inserter(names),
                         [this](const char* name) { return client.HasRegister(name); });
    return names;
}

std::string GdbProbe::CoreRegisterName(std::uint32_t number) const {
    if (number < kStatusRegister) {
        return RegisterName(kFirstCoreRegister + number);
    }
    return number == kStatusRegister ? "xpsr" : SystemRegisters().at(number - kStatusRegister - 1);
}

std::uint32_t GdbProbe::ReadCoreRegister(std::uint32_t number) {
    StopToLook();
    return client.ReadRegister(CoreRegisterName(number));
}

void GdbProbe::WriteCoreRegister(std::uint32_t number, std::uint32_t value) {
    StopToLook();
    client.WriteRegister(CoreRegisterName(number), value);
}

bool GdbProbe::InsertBreakpoint(BreakpointKind kind, std::uint32_t address) {
    StopToLook();
    return client.InsertBreakpoint(KindOf(kind), address);
}

void GdbProbe::RemoveBreakpoint(BreakpointKind kind, std::uint32_t address) {
    StopToLook();
    client.RemoveBreakpoint(KindOf(kind), address);
}

void GdbProbe::Resume() {
    ClearAnswerPoint();
    troubleNote.clear();
    isRunning = true;
    GoOn();
}

void GdbProbe::Step() {
    StopToLook();
    ClearAnswerPoint();
    known.reset();
    client.Step();
    if (!client.AwaitStop(options.timeout)) {
        client.Interrupt();
    }
}

std::optional<DebugStop> GdbProbe::AwaitStop(std::chrono::nanoseconds bound) {
    if (!HasStopped(bound)) {
        return std::nullopt;
    }
    isRunning = false;
    if (!troubleNote.empty()) {
        return DebugStop{DebugStop::Cause::Fault, fmt::format("The core is {}", troubleNote)};
    }
    return DebugStop{DebugStop::Cause::Breakpoint, ""};
}

}  // namespace flash::host::gdb
