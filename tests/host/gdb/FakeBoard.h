// A GDB server in memory over a virtual chip that programs and runs code, with the oddities of FakeServer. Time is the
// chip's.
#pragma once

#include <memory>

#include "host/virtual_chip/VirtualChipProbe.h"
#include "tests/host/gdb/FakeServer.h"

namespace flash::host::gdb {

class FakeBoard final : public FakeServer {
public:
    explicit FakeBoard(const DeviceDescription& part)
        : chip(std::make_shared<chip::VirtualChip>(VirtualChipSettings(part))), probe(chip) {
        for (std::uint32_t number = 0; number < 16; ++number) {
            registers[number] = 0;
        }
        onResume = [this](FakeServer&) {
            Core().Resume();
            return "";
        };
        onInterrupt = [this](FakeServer&) { probe.Halt(); };
    }

    const std::shared_ptr<chip::VirtualChip> chip;

protected:
    std::optional<std::vector<std::uint8_t>> Read(std::uint32_t address, std::uint32_t length) override {
        std::vector<std::uint8_t> bytes(length);
        return Succeeds([&] { probe.ReadMemory(address, bytes, ElementSize(address, length)); })
                   ? std::optional(std::move(bytes))
                   : std::nullopt;
    }
    bool Write(std::uint32_t address, const std::vector<std::uint8_t>& bytes) override {
        return Succeeds([&] { probe.WriteMemory(address, bytes, ElementSize(address, bytes.size())); });
    }
    void FetchRegisters() override {
        for (auto& [number, value] : registers) {
            value = Core().ReadCoreRegister(IndexOf(number));
        }
    }
    void PutRegisters() override {
        for (const auto& [number, value] : registers) {
            Core().WriteCoreRegister(IndexOf(number), value);
        }
    }
    bool ChangeBreakpoint(std::uint32_t address, bool isInserted) override {
        if (isInserted) {
            return Core().InsertBreakpoint(DebugService::BreakpointKind::Hardware, address);
        }
        Core().RemoveBreakpoint(DebugService::BreakpointKind::Hardware, address);
        return true;
    }
    void Step() override { Core().Step(); }
    void Reset() override { Core().Reset(); }
    std::chrono::nanoseconds PassTime(std::chrono::nanoseconds bound) override {
        const std::chrono::nanoseconds start = probe.Now();
        while (isRunning && probe.Now() - start < bound) {
            if (Core().AwaitStop(bound - (probe.Now() - start))) {
                isRunning = false;
                Send("T05thread:1;");
                return probe.Now() - start;
            }
        }
        return bound;
    }

private:
    static constexpr std::uint32_t kStatusNumber = 25;  // in the target description

    static std::uint32_t IndexOf(std::uint32_t number) { return number == kStatusNumber ? 16 : number; }
    static std::size_t ElementSize(std::uint32_t address, std::size_t length) {
        return address % 4 == 0 && length % 4 == 0 ? 4 : 1;
    }
    template <typename Work>
    static bool Succeeds(Work work) {
        try {
            work();
            return true;
        } catch (const ProbeError&) {
            return false;
        }
    }
    DebugService& Core() { return *probe.Debugging(); }

    VirtualChipProbe probe;
};

}  // namespace flash::host::gdb
