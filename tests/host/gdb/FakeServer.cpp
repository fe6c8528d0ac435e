#include "tests/host/gdb/FakeServer.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <utility>

#include "host/gdb/Hex.h"
#include "tests/host/gdb/RequestKind.h"

namespace flash::host::gdb {
namespace {

constexpr const char* kDescription = "<target><architecture>arm</architecture><xi:include href=\"core.xml\"/></target>";
constexpr const char* kCoreFeature =
    "<feature name=\"org.gnu.gdb.arm.m-profile\">"
    "<reg name=\"r0\" bitsize=\"32\"/><reg name=\"sp\" bitsize=\"32\" regnum=\"13\"/><reg name=\"lr\" bitsize=\"32\"/>"
    "<reg name=\"pc\" bitsize=\"32\"/><reg name=\"xpsr\" bitsize=\"32\" regnum=\"25\"/></feature>";

constexpr std::size_t kLongestPacket = 1 << 20;

std::string LittleEndian(std::uint32_t word) {
    const std::vector<std::uint8_t> bytes = {static_cast<std::uint8_t>(word), static_cast<std::uint8_t>(word >> 8),
                                             static_cast<std::uint8_t>(word >> 16),
                                             static_cast<std::uint8_t>(word >> 24)};
    return HexOf(bytes);
}

std::uint32_t WordOf(const std::string& digits) {
    const auto bytes = BytesOf(digits).value();
    return static_cast<std::uint32_t>(bytes.at(0) | bytes.at(1) << 8 | bytes.at(2) << 16) | std::uint32_t{bytes.at(3)}
                                                                                                << 24;
}

}  // namespace

class FakeServer::ServerStream final : public ByteStream {
public:
    explicit ServerStream(FakeServer& fakeServer) : server(fakeServer) {}

    std::size_t Read(std::span<char> buffer, std::chrono::nanoseconds bound) override {
        if (server.Has(Quirk::NeverStopsTalking)) {
            server.output += EncodePacket("O41");
            server.clock.now += std::chrono::milliseconds(5);
        }
        if (server.output.empty() && server.isClosed) {
            throw StreamError("the other side closed the connection");
        }
        if (server.output.empty()) {
            server.clock.now += server.PassTime(bound);
        }
        const std::size_t count = std::min(buffer.size(), server.output.size());
        server.output.copy(buffer.data(), count);
        server.output.erase(0, count);
        return count;
    }

    void Write(std::string_view bytes) override {
        if (server.isClosed) {
            throw StreamError("the other side closed the connection");
        }
        for (const char byte : bytes) {
            server.Take(byte);
        }
    }

private:
    FakeServer& server;
};

std::unique_ptr<ByteStream> FakeServer::Stream() {
    decoder = FrameDecoder(kLongestPacket, RunLength::Keep);
    output.clear();
    isClosed = false;
    acknowledges = true;
    hasDescribed = false;
    if (letsTargetRun) {
        isRunning = true;
    } else if (std::exchange(isRunning, false)) {
        onInterrupt(*this);
    }
    return std::make_unique<ServerStream>(*this);
}

void FakeServer::Store(std::uint32_t address, const std::vector<std::uint8_t>& bytes) {
    for (const std::uint8_t byte : bytes) {
        memory[address++] = byte;
    }
}

void FakeServer::StoreWord(std::uint32_t address, std::uint32_t word) { Store(address, *BytesOf(LittleEndian(word))); }

std::vector<std::uint8_t> FakeServer::Stored(std::uint32_t address, std::size_t length) const {
    std::vector<std::uint8_t> bytes;
    for (std::size_t i = 0; i < length; ++i) {
        bytes.push_back(memory.at(address + static_cast<std::uint32_t>(i)));
    }
    return bytes;
}

std::size_t FakeServer::Count(const std::string& beginning) const {
    return static_cast<std::size_t>(std::count_if(
        requests.begin(), requests.end(), [&](const std::string& request) { return request.starts_with(beginning); }));
}

void FakeServer::Take(char byte) {
    const auto frame = decoder.Take(byte);
    if (isRunning && Has(Quirk::StopsAtAnyByte)) {
        Interrupt();
    }
    if (!frame) {
        return;
    }
    if (frame->kind == FrameKind::Interrupt) {
        Interrupt();
    } else if (frame->kind == FrameKind::Nack) {
        Send(lastAnswer);
    } else if (frame->kind == FrameKind::Packet) {
        requests.push_back(frame->payload);
        if (onset && requests.size() >= onset->request) {
            quirks.insert(onset->quirk);
        }
        isClosed |= Has(Quirk::ClosesConnection);
        output += acknowledges ? "+" : "";
        const std::string answer = Answer(frame->payload);
        const bool isAnswerItself = frame->payload.starts_with('F');
        if (!isAnswerItself && (!isRunning || !answer.empty())) {
            Send(answer);
        }
    }
}

void FakeServer::Interrupt() {
    ++interrupts;
    if (!isRunning && Has(Quirk::AnswersInterruptTwice)) {
        Send("T02");
    }
    if (isRunning && !Has(Quirk::NeverStopsItsTarget)) {
        isRunning = false;
        onInterrupt(*this);
        Send("T02thread:1;");
    }
}

void FakeServer::Send(const std::string& payload) {
    if (Has(Quirk::NeverAnswers) || Has(Quirk::NeverStopsTalking) || isClosed) {
        return;
    }
    lastAnswer = payload;
    if (Has(Quirk::TalksAlways)) {
        output += EncodeNotification("Alive") + EncodePacket("O48690a") + "+";
    }
    if (Has(Quirk::NeverEndsItsPacket)) {
        output += "$" + std::string(2 << 20, 'a');
    } else if (Has(Quirk::SendsDamagedPackets)) {
        output += "$" + payload + "#zz";
    } else {
        output += EncodePacket(payload);
    }
}

std::string FakeServer::Answer(const std::string& request) {
    if (request.starts_with("qSupported")) {
        return Has(Quirk::KnowsNoFeatures) ? ""
                                           : fmt::format("PacketSize={:x};QStartNoAckMode+{}", packetBytes,
                                                         Has(Quirk::KnowsNoDescription) ? "" : ";qXfer:features:read+");
    }
    if (request == "QStartNoAckMode") {
        acknowledges = false;
        return "OK";
    }
    if (request == "?") {
        return Has(Quirk::HasNoTarget) ? "W00" : whyStopped;
    }
    if (request.starts_with("qXfer:features:read:")) {
        hasDescribed |= request.find("core.xml") != std::string::npos;
        return std::string("l") +
               (request.find("core.xml") != std::string::npos ? kCoreFeature + systemFeature : kDescription);
    }
    if (request == "vCont?") {
        return Has(Quirk::KnowsNoActions) ? "" : "vCont;c;C;s;S";
    }
    if (request == "D") {
        isDetached = true;
        return "OK";
    }
    if (request == (Has(Quirk::KnowsNoActions) ? "c" : "vCont;c")) {
        return Resumed();
    }
    if (request == (Has(Quirk::KnowsNoActions) ? "s" : "vCont;s")) {
        Step();
        return "S05";
    }
    switch (KindOf(request)) {
        case RequestKind::Memory:
            return AnswerMemory(request);
        case RequestKind::Register:
        case RequestKind::AllRegisters:
            return AnswerRegister(request);
        case RequestKind::Breakpoint:
            return AnswerBreakpoint(request);
        default:
            return request.starts_with("qRcmd,") ? AnswerMonitor(request) : "";
    }
}

std::string FakeServer::AnswerBreakpoint(const std::string& request) {
    if (Has(Quirk::KnowsNoBreakpoint) || (request[1] == '1' && Has(Quirk::KnowsNoHardwareBreakpoint))) {
        return "";
    }
    const std::string breakpoint = request.substr(1, request.rfind(',') - 1);
    const bool isInserted = request.front() == 'Z';
    isInserted ? (void)breakpoints.insert(breakpoint) : (void)breakpoints.erase(breakpoint);
    return ChangeBreakpoint(static_cast<std::uint32_t>(*NumberOf(breakpoint.substr(2))), isInserted) ? "OK" : "E01";
}

bool FakeServer::ChangeBreakpoint(std::uint32_t, bool) { return true; }

std::optional<std::vector<std::uint8_t>> FakeServer::Read(std::uint32_t address, std::uint32_t length) {
    std::vector<std::uint8_t> bytes(length);
    for (std::uint32_t i = 0; i < length; ++i) {
        const auto found = memory.find(address + i);
        if (found == memory.end()) {
            return std::nullopt;
        }
        bytes[i] = found->second;
    }
    return bytes;
}

bool FakeServer::Write(std::uint32_t address, const std::vector<std::uint8_t>& bytes) {
    Store(address, bytes);
    return true;
}

std::string FakeServer::AnswerMemory(const std::string& request) {
    if (request.front() != 'm') {
        return AnswerWrite(request);
    }
    std::uint32_t address = 0, length = 0;
    std::sscanf(request.c_str() + 1, "%x,%x", &address, &length);
    if (isRunning && Has(Quirk::StopsWhileItIsRead)) {
        isRunning = false;
        Send("T0b");
    } else if (isRunning && letsTargetRun) {
        return "E0F";
    }
    if (Has(Quirk::ReadsZeros)) {
        return std::string(std::size_t{2} * length, '0');
    }
    const auto bytes = Read(address, length);
    return bytes ? HexOf(*bytes) : "E01";
}

std::string FakeServer::AnswerWrite(const std::string& request) {
    std::exchange(delayedWrite, [] {})();
    const auto address = static_cast<std::uint32_t>(*NumberOf(request.substr(1, request.find(',') - 1)));
    const std::string data = request.substr(request.find(':') + 1);
    if (request.front() == 'M') {
        return Has(Quirk::LosesWrites) || Write(address, BytesOf(data).value()) ? "OK" : "E01";
    }
    if (Has(Quirk::KnowsNoBinaryWrite)) {
        return "";
    }
    const std::vector<std::uint8_t> bytes = Unescape(data).value();
    if (Has(Quirk::DelaysBinaryWrites)) {
        delayedWrite = [this, address, bytes] { Write(address, bytes); };
        return "OK";
    }
    const bool isLost = Has(Quirk::LosesBinaryWrites) || Has(Quirk::LosesWrites);
    return isLost || Write(address, bytes) ? "OK" : "E01";
}

std::string FakeServer::AllRegisters() const {
    std::string all;
    for (const auto& [number, value] : registers) {
        all += Gap(number) + DigitsOf(number, value);
    }
    return all;
}

// Without a description there are registers for floating point between the core's and the status.
std::string FakeServer::Gap(std::uint32_t number) const {
    return Has(Quirk::KnowsNoDescription) && number == 25 ? std::string(200, 'x') : "";
}

std::string FakeServer::DigitsOf(std::uint32_t number, std::uint32_t value) const {
    const auto bytes = registerBytes.find(number);
    return LittleEndian(value).substr(0, bytes == registerBytes.end() ? 8 : 2 * bytes->second);
}

std::uint32_t FakeServer::ValueOf(std::uint32_t number, const std::string& digits) const {
    return WordOf((digits.substr(0, DigitsOf(number, 0).size()) + "00000000").substr(0, 8));
}

std::string FakeServer::AnswerRegister(const std::string& request) {
    if (Has(Quirk::ClosesWhenRegistersAreAsked)) {
        isClosed = true;
        return "";
    }
    const bool isSingle = request.front() == 'p' || request.front() == 'P';
    if (isSingle && (Has(Quirk::KnowsNoSingleRegister) || (Has(Quirk::HidesRegisters) && !hasDescribed))) {
        return "";
    }
    FetchRegisters();
    std::uint32_t number = 0;
    std::sscanf(request.c_str() + 1, "%x", &number);
    switch (request.front()) {
        case 'p':
            return registers.contains(number) ? DigitsOf(number, registers[number]) : "E00";
        case 'P':
            registers[number] = ValueOf(number, request.substr(request.find('=') + 1));
            PutRegisters();
            return "OK";
        case 'g':
            return AllRegisters();
        default: {
            std::size_t offset = 1;
            for (auto& [which, value] : registers) {
                offset += Gap(which).size();
                value = ValueOf(which, request.substr(offset));
                offset += DigitsOf(which, 0).size();
            }
            PutRegisters();
            return "OK";
        }
    }
}

void FakeServer::Reset() { registers[15] = WordOf(HexOf(Stored(4, 4))) & ~1u; }

std::string FakeServer::AnswerMonitor(const std::string& request) {
    const auto bytes = BytesOf(std::string_view(request).substr(6)).value();
    if (std::string(bytes.begin(), bytes.end()) == resetCommand) {
        Reset();
        return "OK";
    }
    if (Has(Quirk::ExplainsUnknownCommands)) {
        Send("O" + HexOf(std::string_view("commands: help\n")));
        return "OK";
    }
    return "E01";
}

std::string FakeServer::Resumed() {
    isRunning = true;
    if (Has(Quirk::AsksForFiles)) {
        Send("Fwrite,1,20000000,4");
    }
    if (Has(Quirk::LocksUp)) {
        isRunning = false;
        registers[15] = 0xEFFFFFFE;
        return "T05";
    }
    if (Has(Quirk::StopsForNoReason) && !wasResumed) {
        wasResumed = true;
        isRunning = false;
        return "T02";
    }
    std::string stop = onResume(*this);
    isRunning = stop.empty();
    return stop;
}

}  // namespace flash::host::gdb
