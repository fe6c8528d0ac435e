// A probe over a map of bytes, with a clock of its own. A test can let calls of a name fail, or let something happen
// when time passes, as a running target would make it.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "host/probe/Probe.h"

namespace flash::host {

class FakeProbe : public Probe, private TimelineService, private DebugService {
public:
    struct Access {
        std::uint32_t address;
        std::size_t bytes, elementSize;
        bool operator==(const Access&) const = default;
    };

    void Store(std::uint32_t address, std::span<const std::uint8_t> bytes) {
        for (std::size_t i = 0; i < bytes.size(); ++i) {
            memory[address + static_cast<std::uint32_t>(i)] = bytes[i];
        }
    }
    void StoreWord(std::uint32_t address, std::uint32_t word) {
        for (std::uint32_t i = 0; i < 4; ++i) {
            memory[address + i] = static_cast<std::uint8_t>(word >> 8 * i);
        }
    }
    std::uint8_t ByteAt(std::uint32_t address) const {
        const auto found = memory.find(address);
        return found == memory.end() ? 0xFF : found->second;
    }

    std::string Describe() const override { return "a fake"; }
    void SelectRoute(const std::string& route) override { Called("route " + route); }
    void Run() override {
        Called("run");
        isRunning = true;
    }
    void Halt() override {
        Called("halt");
        isRunning = false;
    }
    CoreState ReadCoreState() override {
        Called("state");
        return {isRunning, isRunning ? std::nullopt : std::optional<std::uint32_t>(programCounter), ""};
    }
    void ReadMemory(std::uint32_t address, std::span<std::uint8_t> bytes, std::size_t elementSize) override {
        reads.push_back({address, bytes.size(), elementSize});
        Called("read");
        for (std::size_t i = 0; i < bytes.size(); ++i) {
            bytes[i] = ByteAt(address + static_cast<std::uint32_t>(i));
        }
    }
    void WriteMemory(std::uint32_t address, std::span<const std::uint8_t> bytes, std::size_t elementSize) override {
        writes.push_back({address, bytes.size(), elementSize});
        Called("write");
        Store(address, bytes);
    }
    std::uint64_t ReadRegister(std::uint32_t) override {
        Called("read register");
        return registerValue;
    }
    void WriteRegister(std::uint32_t number, std::uint64_t value) override {
        Called("write register " + std::to_string(number));
        registerValue = value;
    }
    void Pause(std::chrono::microseconds duration) override {
        now += duration;
        if (onPause) {
            onPause();
        }
        Called("pause");
    }
    std::chrono::nanoseconds Now() override { return now; }
    TimelineService* Timeline() override { return hasTimeline ? this : nullptr; }
    DebugService* Debugging() override { return canReset ? this : nullptr; }

    std::map<std::uint32_t, std::uint8_t> memory;
    std::vector<std::string> calls;
    std::vector<Access> reads, writes;
    std::string failingCall;  // every call of this name fails
    std::function<void()> onPause;
    std::function<void(const std::string&)> onCall;
    std::uint64_t registerValue = 0;
    std::uint32_t programCounter = 0x20000100;
    std::chrono::nanoseconds now{0};
    bool isRunning = false;
    bool hasTimeline = false;
    bool canReset = false;
    std::vector<std::uint32_t> watchedBlocks;

private:
    void WatchCommandBlocks(std::uint32_t address) override { watchedBlocks.push_back(address); }
    std::string TraceJson() const override { return ""; }

    void Reset() override { Called("reset"); }
    std::vector<std::string> SystemRegisters() const override { return {}; }
    std::uint32_t ReadCoreRegister(std::uint32_t) override { return 0; }
    void WriteCoreRegister(std::uint32_t, std::uint32_t) override {}
    bool InsertBreakpoint(BreakpointKind, std::uint32_t) override { return false; }
    void RemoveBreakpoint(BreakpointKind, std::uint32_t) override {}
    void Resume() override {}
    void Step() override {}
    std::optional<DebugStop> AwaitStop(std::chrono::nanoseconds) override { return std::nullopt; }
    void Interrupt() override {}

    void Called(const std::string& call) {
        calls.push_back(call);
        if (onCall) {
            onCall(call);
        }
        if (call == failingCall) {
            throw ProbeError(call + " refused by the fake");
        }
    }
};

}  // namespace flash::host
