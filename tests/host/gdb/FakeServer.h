// A GDB server in memory, with a target that a test scripts, and with each oddity that real servers have been seen
// with. Time is the fake clock's: waiting for what does not come moves it.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "host/gdb/Framing.h"
#include "tests/host/gdb/MemoryStream.h"

namespace flash::host::gdb {

enum class Quirk {
    KnowsNoFeatures,        // "qSupported" has an empty answer
    KnowsNoDescription,     // no target description
    KnowsNoActions,         // no "vCont"
    KnowsNoSingleRegister,  // no "p" and "P"
    KnowsNoHardwareBreakpoint,
    KnowsNoBreakpoint,
    KnowsNoBinaryWrite,
    LosesBinaryWrites,   // acknowledges "X" and writes nothing
    DelaysBinaryWrites,  // and writes when the next packet comes that writes
    LosesWrites,         // and "M" likewise
    ReadsZeros,          // whatever is asked for
    TalksAlways,         // output and notifications before each answer
    AsksForFiles,        // when the target runs
    StopsForNoReason,    // right after the first resumption
    SendsDamagedPackets,
    NeverAnswers,
    NeverEndsItsPacket,
    NeverStopsTalking,  // and never answers
    NeverStopsItsTarget,
    ClosesWhenRegistersAreAsked,
    HidesRegisters,  // as long as the target description was not read, with what it includes
    ClosesConnection,
    HasNoTarget,
    LocksUp,                  // as soon as the target is resumed
    StopsAtAnyByte,           // that arrives while the target runs
    ExplainsUnknownCommands,  // help for any monitor command that it does not know, and success
    StopsWhileItIsRead,       // and tells both
    AnswersInterruptTwice,    // a stop at a breakpoint, and one for the interrupt that crossed it
};

class FakeServer {
public:
    // What the target does when it is resumed: a stop reply at once, or "" to run on.
    std::function<std::string(FakeServer&)> onResume = [](FakeServer&) { return ""; };
    // What it has done when it is stopped.
    std::function<void(FakeServer&)> onInterrupt = [](FakeServer&) {};

    FakeServer() = default;
    virtual ~FakeServer() = default;
    FakeServer(const FakeServer&) = delete;
    FakeServer& operator=(const FakeServer&) = delete;

    // A new connection, which stops the target unless the server lets it run.
    std::unique_ptr<ByteStream> Stream();

    void StoreWord(std::uint32_t address, std::uint32_t word);
    void Store(std::uint32_t address, const std::vector<std::uint8_t>& bytes);
    std::vector<std::uint8_t> Stored(std::uint32_t address, std::size_t length) const;

    FakeClock clock;
    std::set<Quirk> quirks;
    struct Onset {
        std::size_t request;  // counted from 1
        Quirk quirk;
    };
    std::optional<Onset> onset;  // of a quirk in the middle
    std::size_t packetBytes = 0x1000;
    std::string resetCommand = "reset halt";
    bool letsTargetRun = false;      // when a client comes
    std::string whyStopped = "S05";  // the answer to that question; "" for none while the target runs
    std::string systemFeature;       // of the target description, beside that of the core
    std::map<std::uint32_t, std::uint32_t> registerBytes;  // of those that have no four
    std::map<std::uint32_t, std::uint8_t> memory;          // what is not in it cannot be read
    std::map<std::uint32_t, std::uint32_t> registers = {{0, 0}, {13, 0}, {14, 0}, {15, 0x100}, {25, 1u << 24}};
    std::set<std::string> breakpoints;  // "1,20000100"
    bool isRunning = false;
    bool isDetached = false;
    int interrupts = 0;
    std::vector<std::string> requests;  // each packet that arrived
    std::size_t Count(const std::string& beginning) const;

protected:
    // The target, in `memory`, `registers` and `breakpoints`, or elsewhere.
    virtual std::optional<std::vector<std::uint8_t>> Read(std::uint32_t address, std::uint32_t length);  // null: E01
    virtual bool Write(std::uint32_t address, const std::vector<std::uint8_t>& bytes);
    virtual void FetchRegisters() {}
    virtual void PutRegisters() {}
    virtual bool ChangeBreakpoint(std::uint32_t address, bool isInserted);
    virtual void Step() { registers[15] += 2; }
    virtual void Reset();
    // Nothing is said for so long; returns how long it really was.
    virtual std::chrono::nanoseconds PassTime(std::chrono::nanoseconds bound) { return bound; }
    void Send(const std::string& payload);

private:
    class ServerStream;

    bool Has(Quirk quirk) const { return quirks.contains(quirk); }
    void Take(char byte);
    void Interrupt();
    std::string Answer(const std::string& request);
    std::string AnswerMemory(const std::string& request);
    std::string AnswerWrite(const std::string& request);
    std::string AnswerRegister(const std::string& request);
    std::string AnswerBreakpoint(const std::string& request);
    std::string AnswerMonitor(const std::string& request);
    std::string Resumed();
    std::string AllRegisters() const;
    std::string Gap(std::uint32_t number) const;
    std::string DigitsOf(std::uint32_t number, std::uint32_t value) const;
    std::uint32_t ValueOf(std::uint32_t number, const std::string& digits) const;

    FrameDecoder decoder{1 << 20, RunLength::Keep};
    std::string output, lastAnswer;
    bool isClosed = false;
    bool wasResumed = false;
    bool acknowledges = true;
    bool hasDescribed = false;
    std::function<void()> delayedWrite = [] {};
};

}  // namespace flash::host::gdb
