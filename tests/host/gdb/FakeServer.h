// A GDB server in memory, with a target that a test scripts, and with each oddity that real servers have been seen
// with. Time is the fake clock's: waiting for what does not come moves it.
#pragma once

#include <functional>
#include <map>
#include <memory>
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
    LosesBinaryWrites,  // acknowledges "X" and writes nothing
    LosesWrites,        // and "M" likewise
    ReadsZeros,         // whatever is asked for
    TalksAlways,        // output and notifications before each answer
    AsksForFiles,       // when the target runs
    StopsForNoReason,   // right after the first resumption
    SendsDamagedPackets,
    NeverAnswers,
    NeverEndsItsPacket,
    NeverStopsTalking,  // and never answers
    NeverStopsItsTarget,
    ClosesWhenRegistersAreAsked,
    HasNoTarget,
    LocksUp,                  // as soon as the target is resumed
    StopsAtAnyByte,           // that arrives while the target runs
    ExplainsUnknownCommands,  // help for any monitor command that it does not know, and success
    AnswersInterruptTwice,    // a stop at a breakpoint, and one for the interrupt that crossed it
};

class FakeServer {
public:
    // What the target does when it is resumed: a stop reply at once, or "" to run on.
    std::function<std::string(FakeServer&)> onResume = [](FakeServer&) { return ""; };
    // What it has done when it is stopped.
    std::function<void(FakeServer&)> onInterrupt = [](FakeServer&) {};

    std::unique_ptr<ByteStream> Stream();

    void StoreWord(std::uint32_t address, std::uint32_t word);
    void Store(std::uint32_t address, const std::vector<std::uint8_t>& bytes);
    std::vector<std::uint8_t> Stored(std::uint32_t address, std::size_t length) const;

    FakeClock clock;
    std::set<Quirk> quirks;
    std::size_t packetBytes = 0x1000;
    std::string resetCommand = "reset halt";
    std::map<std::uint32_t, std::uint8_t> memory;  // what is not in it cannot be read
    std::map<std::uint32_t, std::uint32_t> registers = {{0, 0}, {13, 0}, {14, 0}, {15, 0x100}, {25, 1u << 24}};
    std::set<std::string> breakpoints;  // "1,20000100"
    bool isRunning = false;
    bool isDetached = false;
    int interrupts = 0;
    std::vector<std::string> requests;  // each packet that arrived
    std::size_t Count(const std::string& beginning) const;

private:
    class ServerStream;

    bool Has(Quirk quirk) const { return quirks.contains(quirk); }
    void Take(char byte);
    void Interrupt();
    void Send(const std::string& payload);
    std::string Answer(const std::string& request);
    std::string AnswerMemory(const std::string& request);
    std::string AnswerRegister(const std::string& request);
    std::string AnswerMonitor(const std::string& request);
    std::string Resumed();
    std::string AllRegisters() const;

    FrameDecoder decoder{1 << 20, RunLength::Keep};
    std::string output, lastAnswer;
    bool isClosed = false;
    bool wasResumed = false;
    bool acknowledges = true;
};

}  // namespace flash::host::gdb
