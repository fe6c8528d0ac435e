// Running a target that can be looked at only while it stands.
#include <fmt/format.h>

#include <algorithm>

#include "host/Numbers.h"
#include "host/gdb/GdbProbe.h"

namespace flash::host::gdb {
namespace {

using std::chrono::nanoseconds;

constexpr std::uint32_t kNoOperation = 0xBF00;  // the instruction that may be left out
constexpr std::uint32_t kNoOperationBytes = 2;
constexpr std::uint32_t kResetVector = 4;
constexpr std::uint32_t kErasedWord = 0xFFFF'FFFF;
constexpr std::chrono::milliseconds kFirstPollInterval{1};
constexpr int kMostStops = 1000;  // that nobody asked for, in one pause

// Where a core that has locked up says that it is.
bool IsLockUpAddress(std::uint32_t programCounter) {
    return (programCounter | 0x1000'0001) == kErasedWord && programCounter != 0;
}

// In the order in which they are tried. The last two may let the core run on.
constexpr const char* kResetCommands[] = {"reset halt", "system_reset", "reset"};

}  // namespace

void GdbProbe::Run() { isRunning = true; }

void GdbProbe::Halt() {
    StopToLook();
    isRunning = false;
}

// From the answer's place the target goes on behind it: with the breakpoint there it would not move.
void GdbProbe::PassAnswerPoint() {
    if (!isAtAnswerPoint || !answerPoint) {
        return;
    }
    isAtAnswerPoint = false;
    if (canLeaveAnswerPointOut) {
        client.WriteRegister("pc", *answerPoint + kNoOperationBytes);
        return;
    }
    client.RemoveBreakpoint(answerPointKind, *answerPoint);
    client.Step();
    if (!client.AwaitStop(options.timeout)) {
        client.Interrupt();
    }
    client.InsertBreakpoint(answerPointKind, *answerPoint);
}

void GdbProbe::GoOn() {
    if (!isResumed) {
        PassAnswerPoint();
        known.reset();
        client.Continue();
        isResumed = true;
    }
}

void GdbProbe::ConsiderStop(const StopReply& reply) {
    isResumed = false;
    known.reset();
    const std::uint32_t pc = client.ProgramCounterIn(reply).value_or(0);
    const std::uint32_t programCounter = pc != 0 ? pc : client.ReadRegister("pc");
    isAtAnswerPoint = answerPoint && programCounter == *answerPoint;
    if (IsLockUpAddress(programCounter)) {
        troubleNote = "locked up";
    } else if (reply.signal != kSignalTrap && reply.signal != kSignalInterrupt && reply.signal != 0) {
        troubleNote = fmt::format("stopped by signal {} at 0x{:08X}", reply.signal, programCounter);
    }
}

// True when the target has stopped by itself.
bool GdbProbe::HasStopped(nanoseconds bound) {
    std::optional<StopReply> reply;
    try {
        reply = client.AwaitStop(bound);
    } catch (const ProbeError&) {  // it does not run
        isResumed = false;
        throw;
    }
    if (reply) {
        ConsiderStop(*reply);
    }
    return reply.has_value();
}

void GdbProbe::StopToLook() {
    if (isResumed && !HasStopped(nanoseconds::zero())) {
        ConsiderStop(client.Interrupt());
    }
}

CoreState GdbProbe::ReadCoreState() {
    if (isRunning && troubleNote.empty()) {
        if (isResumed) {
            HasStopped(nanoseconds::zero());
        }
        if (troubleNote.empty()) {
            return {true, std::nullopt, ""};
        }
    }
    StopToLook();
    return {false, client.ReadRegister("pc"), troubleNote};
}

// ---- Time

void GdbProbe::Pause(std::chrono::microseconds duration) {
    const nanoseconds end = clock.Now() + duration;
    for (int stops = 0; clock.Now() < end && stops < kMostStops; ++stops) {
        if (isRunning && troubleNote.empty()) {
            GoOn();
        }
        HasStopped(end - clock.Now());
    }
}

bool GdbProbe::PauseWhileWordIs(std::uint32_t address, std::uint32_t value, std::chrono::microseconds bound) {
    const Word word{address, value};
    if (!isRunning || !troubleNote.empty() || options.hasBackgroundAccess) {
        return Probe::PauseWhileWordIs(address, value, bound);
    }
    if (!answerPoint) {
        return PollWhileWordIs(word, bound);
    }
    const nanoseconds end = clock.Now() + bound;
    for (int stops = 0; stops < kMostStops; ++stops) {
        if (!isResumed && known != word && ReadWord(address) != value) {
            return true;
        }
        if (clock.Now() >= end || !troubleNote.empty()) {
            return false;
        }
        GoOn();
        known = word;
        if (!HasStopped(end - clock.Now())) {
            return false;  // it runs on, and stops when it has answered
        }
    }
    return false;
}

// Each look stops the target, so it is left alone longer each time.
bool GdbProbe::PollWhileWordIs(const Word& word, nanoseconds bound) {
    const nanoseconds end = clock.Now() + bound;
    nanoseconds interval = kFirstPollInterval;
    while (true) {
        StopToLook();
        if (known != word && ReadWord(word.address) != word.value) {
            return true;
        }
        const nanoseconds now = clock.Now();
        if (now >= end || !troubleNote.empty()) {
            return false;
        }
        GoOn();
        HasStopped(std::min(interval, end - now));
        interval *= 2;
    }
}

// ---- Where the flashloader has answered

void GdbProbe::StopWhereAnswered(std::optional<std::uint32_t> address) {
    StopToLook();
    ClearAnswerPoint();
    if (!address || options.hasBackgroundAccess) {
        return;
    }
    const std::uint32_t code = *address & ~1u;
    const std::vector<std::uint8_t> instruction = client.ReadMemory(code, kNoOperationBytes);
    for (const auto kind : {Client::BreakpointKind::Hardware, Client::BreakpointKind::Software}) {
        if (client.InsertBreakpoint(kind, code)) {
            answerPoint = code;
            answerPointKind = kind;
            canLeaveAnswerPointOut = LittleEndian(instruction) == kNoOperation;
            return;
        }
    }
}

void GdbProbe::ClearAnswerPoint() {
    if (answerPoint) {
        StopToLook();
        client.RemoveBreakpoint(answerPointKind, *answerPoint);
    }
    answerPoint.reset();
    isAtAnswerPoint = false;
    known.reset();
}

// ---- Reset

void GdbProbe::Reset() {
    StopToLook();
    ClearAnswerPoint();
    isRunning = false;
    troubleNote.clear();
    notes.clear();
    if (options.resetCommand) {
        const auto answer = client.Monitor(*options.resetCommand);
        if (!answer.isSuccess) {
            throw ProbeError(
                fmt::format("The server refuses the command \"{}\": {}", *options.resetCommand, answer.output));
        }
        return;
    }
    for (const char* const command : kResetCommands) {
        if (TryReset(command)) {
            options.resetCommand = command;
            return;
        }
    }
    throw ProbeError("None of the commands by which servers reset their target works here; name the right one");
}

// Servers say success for commands that they do not know, so what counts is where the core stands afterwards.
bool GdbProbe::TryReset(const std::string& command) {
    const std::uint32_t vector = ReadWord(kResetVector);
    const std::uint32_t elsewhere = (vector & ~1u) ^ 0x100;
    client.WriteRegister("pc", elsewhere);
    if (!client.Monitor(command).isSuccess) {
        return false;
    }
    const std::uint32_t programCounter = client.ReadRegister("pc");
    return programCounter != elsewhere && (vector == kErasedWord || (programCounter | 1u) == (vector | 1u));
}

}  // namespace flash::host::gdb
