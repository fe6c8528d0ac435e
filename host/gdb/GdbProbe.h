// Any GDB server as a debug probe. The protocol reaches memory only while the target stands, so a target that runs is
// stopped to be looked at, and goes on only when time has to pass. Where the flashloader tells the place at which it
// has answered, a breakpoint there stops the target by itself, and nobody has to ask.
#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "host/gdb/Client.h"
#include "host/probe/Probe.h"

namespace flash::host::gdb {

struct GdbProbeOptions {
    std::chrono::nanoseconds timeout = std::chrono::seconds(5);  // for each answer
    std::optional<std::string> resetCommand;                     // of the server; known ones are tried without
    std::optional<std::uint32_t> identificationCode;             // what the debug router would say
    std::uint32_t assumedIdentificationCode = 0;                 // of the part, when nobody gave it
    bool hasBackgroundAccess = false;                            // the server reaches memory while the core runs
    bool checksWrites = false;                                   // every write is read back
};

class GdbProbe final : public Probe, private AnswerService, private DebugService {
public:
    // `place` is for messages. The clock must outlive the probe.
    GdbProbe(std::unique_ptr<ByteStream> stream, Clock& probeClock, std::string place, GdbProbeOptions probeOptions);
    ~GdbProbe() override;
    GdbProbe(const GdbProbe&) = delete;
    GdbProbe& operator=(const GdbProbe&) = delete;

    std::string Describe() const override;
    void SelectRoute(const std::string& route) override;
    void Run() override;
    void Halt() override;
    CoreState ReadCoreState() override;
    void ReadMemory(std::uint32_t address, std::span<std::uint8_t> bytes, std::size_t elementSize) override;
    void WriteMemory(std::uint32_t address, std::span<const std::uint8_t> bytes, std::size_t elementSize) override;
    std::uint64_t ReadRegister(std::uint32_t registerNumber) override;
    void WriteRegister(std::uint32_t registerNumber, std::uint64_t value) override;
    void Pause(std::chrono::microseconds duration) override;
    bool PauseWhileWordIs(std::uint32_t address, std::uint32_t value, std::chrono::microseconds bound) override;
    std::chrono::nanoseconds Now() override { return clock.Now(); }

    AnswerService* Answers() override { return this; }
    DebugService* Debugging() override { return this; }

    Client& Server() { return client; }

private:
    void StopWhereAnswered(std::optional<std::uint32_t> address) override;

    void Reset() override;
    std::vector<std::string> SystemRegisters() const override;
    std::uint32_t ReadCoreRegister(std::uint32_t number) override;
    void WriteCoreRegister(std::uint32_t number, std::uint32_t value) override;
    bool InsertBreakpoint(BreakpointKind kind, std::uint32_t address) override;
    void RemoveBreakpoint(BreakpointKind kind, std::uint32_t address) override;
    void Step() override;
    void Interrupt() override { StopToLook(); }
    std::optional<DebugStop> AwaitStop(std::chrono::nanoseconds bound) override;

    struct Word {
        std::uint32_t address;
        std::uint32_t value;
        bool operator==(const Word&) const = default;
    };

    void Resume() override;
    void GoOn();
    void PassAnswerPoint();
    void StopToLook();
    bool HasStopped(std::chrono::nanoseconds bound);
    void ConsiderStop(const StopReply& reply);
    void ClearAnswerPoint();
    bool PollWhileWordIs(const Word& word, std::chrono::nanoseconds bound);
    std::uint32_t ReadWord(std::uint32_t address);
    std::vector<std::uint8_t> ReadWithCompany(std::uint32_t address, std::uint32_t lengthBytes);
    void CheckWritten(std::uint32_t address, std::span<const std::uint8_t> bytes);
    bool TryReset(const std::string& command);
    std::string RegisterName(std::uint32_t registerNumber) const;
    std::string CoreRegisterName(std::uint32_t number) const;

    Clock& clock;
    std::string place;
    GdbProbeOptions options;
    Client client;
    bool isRouterSelected = false;
    bool isRunning = false;   // as our caller has it
    bool isResumed = false;   // as the server has it
    std::string troubleNote;  // the target stopped by itself, for no reason of ours
    std::optional<std::uint32_t> answerPoint;
    Client::BreakpointKind answerPointKind = Client::BreakpointKind::Hardware;
    bool canLeaveAnswerPointOut = false;
    bool isAtAnswerPoint = false;
    std::optional<Word> known;  // what was read last: holds while the target stands, or has not answered since
    std::map<std::uint32_t, std::vector<std::uint8_t>> notes;  // short blocks that were written last, by address
};

}  // namespace flash::host::gdb
