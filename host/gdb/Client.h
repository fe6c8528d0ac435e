// A conversation with a GDB server: one method per thing that can be asked of it. Uses what the server says that it
// has, and believes it no more than is good. Everything throws ProbeError with a text that says what was tried and what
// came back; after a lost connection or an answer that never came all further calls fail at once.
#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>

#include "host/gdb/Channel.h"
#include "host/gdb/RegisterLayout.h"
#include "host/gdb/Replies.h"
#include "host/probe/Probe.h"

namespace flash::host::gdb {

class Client {
public:
    // Greets the server and learns what it has; a target that runs is stopped. `timeout` bounds the wait for each
    // answer.
    Client(std::unique_ptr<ByteStream> serverStream, Clock& clientClock, std::chrono::nanoseconds timeout);

    // Before it was stopped for us.
    bool WasRunning() const { return wasRunning; }

    // Lets go of the target, which may run on then. Never throws.
    void Detach();

    std::vector<std::uint8_t> ReadMemory(std::uint32_t address, std::uint32_t lengthBytes);
    void WriteMemory(std::uint32_t address, std::span<const std::uint8_t> bytes);

    // By the names of the target description: "pc", "xpsr".
    bool HasRegister(const std::string& name) const { return layout.Find(name).has_value(); }
    std::uint32_t ReadRegister(const std::string& name);
    void WriteRegister(const std::string& name, std::uint32_t value);
    std::vector<std::string> RegisterNames() const;

    enum class BreakpointKind { Software = 0, Hardware = 1 };
    // False when the server has none of the kind, or none left.
    bool InsertBreakpoint(BreakpointKind kind, std::uint32_t address);
    void RemoveBreakpoint(BreakpointKind kind, std::uint32_t address);

    // The target runs until a stop is received.
    void Continue();
    void Step();
    // Null when it still runs after `bound`. A target that is gone is an error.
    std::optional<StopReply> AwaitStop(std::chrono::nanoseconds bound);
    StopReply Interrupt();

    struct MonitorAnswer {
        bool isSuccess;
        std::string output;
    };
    MonitorAnswer Monitor(const std::string& command);

    // "pc" as it came along with a stop, if it did.
    std::optional<std::uint32_t> ProgramCounterIn(const StopReply& reply) const;

    // What a payload may hold, at most.
    std::uint32_t PacketBytes() const { return packetBytes; }
    bool UsesBinaryWrites() const { return binaryWrites == BinaryWrites::Proven; }
    const Traffic& GetTraffic() const { return channel.GetTraffic(); }

private:
    enum class BinaryWrites { Untried, Proven, Refused };

    void Greet();
    void LetTargetStand();
    void KeepStop(const StopReply& stop);
    std::optional<std::string> ReadAnnex(const std::string& annex);
    void LearnResumeActions();
    std::string Exchange(const std::string& payload, const std::string& attempt);
    std::optional<std::string> NextPacket(std::chrono::nanoseconds end);
    template <typename Work>
    auto Talk(Work work);
    void RequireOk(const std::string& reply, const std::string& attempt);
    [[noreturn]] void Refuse(const std::string& attempt, const std::string& reply);
    [[noreturn]] void Lose(const std::string& reason);
    [[noreturn]] void LoseForWantOfAnswer(const std::string& attempt, std::uint64_t damagedBefore);

    void TryBinaryWrites(std::uint32_t address, std::size_t lengthBytes);
    void WritePieces(std::uint32_t address, std::span<const std::uint8_t> bytes);
    void WriteBinaryPiece(std::uint32_t address, std::span<const std::uint8_t> bytes);
    std::vector<std::uint8_t> ReadAllRegisters();

    std::unique_ptr<ByteStream> stream;
    Clock& clock;
    std::chrono::nanoseconds timeout;
    Channel channel;
    std::string lostBecause;  // empty while connected
    std::map<std::string, std::string> features;
    RegisterLayout layout = RegisterLayout::Default();
    std::uint32_t packetBytes = 0;
    bool wasRunning = false;
    bool isResumed = false;              // and has not told a stop since
    std::optional<StopReply> earlyStop;  // told while something else was asked
    bool hasActions = false;             // "vCont"
    bool hasSingleRegisters = true;      // "p" and "P"
    BinaryWrites binaryWrites = BinaryWrites::Untried;
};

template <typename Work>
auto Client::Talk(Work work) {
    if (!lostBecause.empty()) {
        throw ProbeError("There is no connection to the server any more: " + lostBecause);
    }
    try {
        return work();
    } catch (const StreamError& error) {
        Lose(error.what());
    }
}

}  // namespace flash::host::gdb
