// A debug probe as the host sees it: memory, registers, run and halt of one connected chip. The virtual chip is one
// implementation, a remote debug server can be another; so nothing here knows how time passes on the other side.
// Every call can fail and then throws ProbeError with a text that says what was tried and what came back.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>

#include "host/probe/DebugService.h"

namespace flash::host {

class ProbeError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// Numbers of the core's registers r0 to r15, as debugger hosts count them.
inline constexpr std::uint32_t kFirstCoreRegister = 512;
inline constexpr std::uint32_t kProgramCounterRegister = 527;

struct CoreState {
    bool isRunning;
    std::optional<std::uint32_t> programCounter;  // missing when it cannot be read, as of a running core
    std::string note;                             // what else the probe knows, for example a fault; may be empty
};

// A probe that keeps what happens on its link and in the chip, with times.
class TimelineService {
public:
    // Where the flashloader's two command blocks lie, so that its commands are kept, too.
    virtual void WatchCommandBlocks(std::uint32_t address) = 0;

    // In the format of Chrome trace events.
    virtual std::string TraceJson() const = 0;

protected:
    ~TimelineService() = default;
};

// A probe whose chip lasts from run to run, in a place of the probe's.
class StorageService {
public:
    // Throws Failure (Operation).
    virtual void Save() = 0;

protected:
    ~StorageService() = default;
};

// A probe that has to stop the core to look at it.
class AnswerService {
public:
    // The program on the target comes by there whenever it has answered, and may be stopped there; null when it tells
    // no such place. An instruction there that does nothing may be left out.
    virtual void StopWhereAnswered(std::optional<std::uint32_t> address) = 0;

protected:
    ~AnswerService() = default;
};

// A probe whose chip can be made to break at a chosen point.
class FaultService {
public:
    // As users write it. Throws Failure (BadInput) for what is none.
    virtual void Arm(const std::string& fault) = 0;

protected:
    ~FaultService() = default;
};

class Probe {
public:
    virtual ~Probe() = default;
    Probe(const Probe&) = delete;
    Probe& operator=(const Probe&) = delete;

    // One line for messages: what is connected.
    virtual std::string Describe() const = 0;

    // Selects the route that register accesses go to: "Cortex" (the core) or "Sluice" (the debug router).
    virtual void SelectRoute(const std::string& route) = 0;

    virtual void Run() = 0;
    virtual void Halt() = 0;
    virtual CoreState ReadCoreState() = 0;

    // Reads `bytes.size()` bytes, in bus accesses of `elementSize` (1 or 4) bytes; the size is a multiple of it.
    virtual void ReadMemory(std::uint32_t address, std::span<std::uint8_t> bytes, std::size_t elementSize) = 0;
    virtual void WriteMemory(std::uint32_t address, std::span<const std::uint8_t> bytes, std::size_t elementSize) = 0;

    virtual std::uint64_t ReadRegister(std::uint32_t registerNumber) = 0;
    virtual void WriteRegister(std::uint32_t registerNumber, std::uint64_t value) = 0;

    // Lets the target work for that long.
    virtual void Pause(std::chrono::microseconds duration) = 0;

    // A pause that ends early, with true, as soon as the word at `address` is seen to differ from `value`. This one
    // reads it again and again; a probe whose hardware can watch a word does better.
    virtual bool PauseWhileWordIs(std::uint32_t address, std::uint32_t value, std::chrono::microseconds bound);

    // A steady clock of the probe's own choice, for limits and for speeds; only differences mean anything.
    virtual std::chrono::nanoseconds Now() = 0;

    // What only some probes offer; null for no such service. They live as long as the probe.
    virtual TimelineService* Timeline() { return nullptr; }
    virtual StorageService* Storage() { return nullptr; }
    virtual AnswerService* Answers() { return nullptr; }
    virtual DebugService* Debugging() { return nullptr; }
    virtual FaultService* Faults() { return nullptr; }

protected:
    Probe() = default;
};

}  // namespace flash::host
