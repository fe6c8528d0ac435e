// A chip in memory, for tests of the server: flash that only a load changes, RAM, registers, and a core that a test
// scripts.
#pragma once

#include <functional>
#include <map>
#include <set>
#include <stdexcept>

#include "host/gdb/ServedChip.h"

namespace flash::host::gdb {

class FakeChip final : public ServedChip {
public:
    static constexpr std::uint32_t kFlashBytes = 0x2000;
    static constexpr std::uint32_t kBlockBytes = 0x400;
    static constexpr std::uint32_t kRam = 0x2000'0000;
    static constexpr std::uint32_t kRamBytes = 0x1000;

    std::vector<MemoryRegion> MemoryMap() override {
        return {{MemoryRegion::Kind::Flash, 0, kFlashBytes, kBlockBytes},
                {MemoryRegion::Kind::Ram, kRam, kRamBytes, 0},
                {MemoryRegion::Kind::Ram, 0xE000'0000, 0x2000'0000, 0}};
    }
    std::vector<std::uint8_t> ReadMemory(std::uint32_t address, std::uint32_t lengthBytes) override {
        const auto [memory, offset] = Find(address, lengthBytes);
        const auto first = memory->begin() + offset;
        return {first, first + lengthBytes};
    }
    // Flash, too, which the server must not ask for.
    void WriteMemory(std::uint32_t address, std::span<const std::uint8_t> bytes) override {
        const auto [memory, offset] = Find(address, bytes.size());
        std::copy(bytes.begin(), bytes.end(), memory->begin() + offset);
    }
    std::vector<std::string> SystemRegisters() override { return {"msp", "psp", "control"}; }
    std::uint32_t ReadRegister(std::uint32_t index) override { return registers.at(index); }
    void WriteRegister(std::uint32_t index, std::uint32_t value) override { registers.at(index) = value; }

    bool InsertBreakpoint(request::BreakpointKind, std::uint32_t address) override {
        return breakpoints.size() < 4 && breakpoints.insert(address).second;
    }
    void RemoveBreakpoint(request::BreakpointKind, std::uint32_t address) override { breakpoints.erase(address); }

    void Resume() override { isRunning = true; }
    void LetRun() override { isRunning = true; }
    CoreStop Step() override {
        registers[15] += 2;
        return {CoreStop::Reason::Step, ""};
    }
    std::optional<CoreStop> AwaitStop(std::chrono::nanoseconds) override {
        auto stop = onAwaitStop ? onAwaitStop() : CoreStop{CoreStop::Reason::Breakpoint, ""};
        isRunning = !stop;
        return stop;
    }
    CoreStop Halt() override {
        isRunning = false;
        return {CoreStop::Reason::Interrupt, ""};
    }
    void Reset() override {
        ++resets;
        registers[15] = 0x200;
    }
    std::string Load(const FlashLoad& load, Attention& attention) override {
        if (onLoad) {
            onLoad(attention);
        }
        Program(load.Data(rest, kFlashBytes, [this](auto at, auto length) { return ReadMemory(at, length); }));
        ++loads;
        return "Programmed";
    }
    std::string Monitor(const std::string& command, Attention&) override {
        if (command != "info") {
            throw std::invalid_argument("There is no command \"" + command + "\"");
        }
        return "a fake chip\n";
    }

    std::vector<std::uint8_t> flash = std::vector<std::uint8_t>(kFlashBytes, 0x55);
    std::vector<std::uint8_t> ram = std::vector<std::uint8_t>(kRamBytes, 0);
    std::vector<std::uint32_t> registers = std::vector<std::uint32_t>(kCoreRegisterCount + 3, 0);
    std::set<std::uint32_t> breakpoints;
    std::function<std::optional<CoreStop>()> onAwaitStop;
    std::function<void(Attention&)> onLoad;
    ErasedRest rest = ErasedRest::Erased;
    bool isRunning = false;
    int loads = 0, resets = 0;

private:
    // As a plan does: what a block gets no data for ends erased, or is kept.
    void Program(const std::vector<FlashRun>& runs) {
        std::set<std::uint32_t> erased;
        for (const FlashRun& run : runs) {
            for (std::uint32_t i = 0; i < run.bytes.size(); ++i) {
                const std::uint32_t address = run.address + i;
                if (rest == ErasedRest::Erased && erased.insert(address / kBlockBytes).second) {
                    const auto block = flash.begin() + address / kBlockBytes * kBlockBytes;
                    std::fill(block, block + kBlockBytes, std::uint8_t{0xFF});
                }
                flash[address] = run.bytes[i];
            }
        }
    }

    std::pair<std::vector<std::uint8_t>*, std::ptrdiff_t> Find(std::uint32_t address, std::size_t length) {
        if (address + std::uint64_t{length} <= flash.size()) {
            return {&flash, address};
        }
        if (address >= kRam && address - kRam + std::uint64_t{length} <= ram.size()) {
            return {&ram, address - kRam};
        }
        throw std::runtime_error("There is no such memory");
    }
};

}  // namespace flash::host::gdb
